#include "presentation/words/StatusWords.h"

#include <fmt/format.h>

namespace vantry {

std::string statisticsTransitionMessage(const StatisticsTransition& transition,
                                        WidgetLanguage language) {
    using Stage = StatisticsTransition::Stage;
    const auto pattern = [&]() -> BilingualText {
        switch (transition.stage) {
            case Stage::switching:
                return {.zh = "正在切换到 {}…", .en = "Switching to {}…"};
            case Stage::switchedFromCache:
                return {.zh = "已切换到 {} · 缓存", .en = "Switched to {} · cached"};
            case Stage::switched:
                break;
        }
        return {.zh = "已切换到 {}", .en = "Switched to {}"};
    }();
    return fmt::format(fmt::runtime(pattern.in(language)), transition.zoneIdentifier);
}

}  // namespace vantry
