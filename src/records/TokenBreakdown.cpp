#include "records/TokenBreakdown.h"

#include <algorithm>

namespace vantry {

std::int64_t TokenBreakdown::billableCachedInputTokens() const {
    return std::min(std::max<std::int64_t>(inputTokens, 0),
                    std::max<std::int64_t>(cachedInputTokens, 0));
}

std::int64_t TokenBreakdown::uncachedInputTokens() const {
    return std::max<std::int64_t>(inputTokens, 0) - billableCachedInputTokens();
}

std::int64_t TokenBreakdown::visibleTotalTokens() const {
    return std::max(totalTokens, splitTotalTokens());
}

bool TokenBreakdown::hasNegativeValue() const {
    return std::min({inputTokens, cachedInputTokens, outputTokens, reasoningOutputTokens,
                     totalTokens}) < 0;
}

void TokenBreakdown::add(const TokenBreakdown& other) {
    inputTokens = saturatingAdd(inputTokens, other.inputTokens);
    cachedInputTokens = saturatingAdd(cachedInputTokens, other.cachedInputTokens);
    outputTokens = saturatingAdd(outputTokens, other.outputTokens);
    reasoningOutputTokens = saturatingAdd(reasoningOutputTokens, other.reasoningOutputTokens);
    totalTokens = saturatingAdd(totalTokens, other.totalTokens);
}

TokenBreakdown TokenBreakdown::delta(const TokenBreakdown& earlier) const {
    const TokenBreakdown grown{
        .inputTokens = inputTokens - earlier.inputTokens,
        .cachedInputTokens = cachedInputTokens - earlier.cachedInputTokens,
        .outputTokens = outputTokens - earlier.outputTokens,
        .reasoningOutputTokens = reasoningOutputTokens - earlier.reasoningOutputTokens,
        .totalTokens = totalTokens - earlier.totalTokens};
    if (grown.totalTokens < 0) return *this;
    if (!grown.hasNegativeValue()) return grown;
    const auto atMost = [](std::int64_t limit, std::int64_t value) {
        return std::min(limit, std::max<std::int64_t>(value, 0));
    };
    const std::int64_t output = atMost(grown.totalTokens, grown.outputTokens);
    const std::int64_t input = grown.totalTokens - output;
    return {.inputTokens = input,
            .cachedInputTokens = atMost(input, grown.cachedInputTokens),
            .outputTokens = output,
            .reasoningOutputTokens = atMost(output, grown.reasoningOutputTokens),
            .totalTokens = grown.totalTokens};
}

void addCost(std::optional<double>& into, std::optional<double> more) {
    if (into && more) {
        *into += *more;
    } else {
        into.reset();
    }
}

void PricedTokenUsage::add(const TokenBreakdown& more, std::optional<double> costUSD) {
    tokens.add(more);
    addCost(estimatedCostUSD, costUSD);
}

}  // namespace vantry
