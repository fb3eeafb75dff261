#include "presentation/charts/TokenSplitBar.h"

namespace vantry {

TokenSplitBarPresentation TokenSplitBarPresentation::of(const Sources& sources) {
    using Kind = TokenSplitBarFill::Kind;
    TokenSplitBarPresentation bar{.totalTokens = sources.fallbackTokens};
    if (sources.tokens) bar.totalTokens = sources.tokens->visibleTotalTokens();
    if (!bar.totalTokens) return bar;
    if (sources.tokens && sources.tokens->splitTotalTokens() > 0) {
        bar.fill = {.kind = Kind::split, .tokens = sources.tokens};
    } else {
        bar.fill.kind = *bar.totalTokens >= 1 ? Kind::totalOnly : Kind::zero;
    }
    return bar;
}

}  // namespace vantry
