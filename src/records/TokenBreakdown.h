#pragma once

#include <cstdint>
#include <optional>

#include "platform/RecordFields.h"

namespace vantry {

/// a + b, stopped at the limits of 64 bits instead of wrapping.
constexpr std::int64_t saturatingAdd(std::int64_t a, std::int64_t b) {
    std::int64_t sum = 0;
    if (!__builtin_add_overflow(a, b, &sum)) return sum;
    return a > 0 ? INT64_MAX : INT64_MIN;
}

/// One token count with its split. Cached input is part of input, reasoning is part of output.
struct TokenBreakdown {
    std::int64_t inputTokens = 0;
    std::int64_t cachedInputTokens = 0;
    std::int64_t outputTokens = 0;
    std::int64_t reasoningOutputTokens = 0;
    std::int64_t totalTokens = 0;

    /// The cached part that a price may be put on: never more than the input, never negative.
    std::int64_t billableCachedInputTokens() const;
    std::int64_t uncachedInputTokens() const;
    /// Input plus output.
    std::int64_t splitTotalTokens() const { return saturatingAdd(inputTokens, outputTokens); }
    /// The total that every statistic shows: the larger of the stated total and the split.
    std::int64_t visibleTotalTokens() const;
    bool isZero() const { return *this == TokenBreakdown{}; }
    bool hasNegativeValue() const;

    /// Field by field, saturating.
    void add(const TokenBreakdown& other);

    /// The growth from an `earlier` cumulative reading to this one; both readings are validated,
    /// that is without negative values and with input + output = total. A smaller total means a
    /// counter that started anew, and gives this whole reading. When the total grew while a part
    /// shrank, the parts are limited so that input + output = total still holds.
    TokenBreakdown delta(const TokenBreakdown& earlier) const;

    friend bool operator==(const TokenBreakdown&, const TokenBreakdown&) = default;
};

template <>
struct RecordFields<TokenBreakdown> {
    static constexpr std::tuple list{
        field("inputTokens", &TokenBreakdown::inputTokens),
        field("cachedInputTokens", &TokenBreakdown::cachedInputTokens),
        field("outputTokens", &TokenBreakdown::outputTokens),
        field("reasoningOutputTokens", &TokenBreakdown::reasoningOutputTokens),
        field("totalTokens", &TokenBreakdown::totalTokens)};
};

/// A sum with a part that is not known is not known.
void addCost(std::optional<double>& into, std::optional<double> more);

/// Tokens with their estimated price in US dollars. Without a split the price is not known, unless
/// there are no tokens at all.
struct PricedTokenUsage {
    TokenBreakdown tokens;
    std::optional<double> estimatedCostUSD = 0;

    /// A total without a split.
    static PricedTokenUsage totalOnly(std::int64_t total) {
        PricedTokenUsage usage{.tokens = {.totalTokens = total}};
        if (total != 0) usage.estimatedCostUSD.reset();
        return usage;
    }

    void add(const TokenBreakdown& more, std::optional<double> costUSD);

    friend bool operator==(const PricedTokenUsage&, const PricedTokenUsage&) = default;
};

template <>
struct RecordFields<PricedTokenUsage> {
    using Usage = PricedTokenUsage;
    static constexpr std::tuple list{
        field("tokens", &Usage::tokens),
        shownField<Usage>("inputTokens", [](const Usage& u) { return u.tokens.inputTokens; }),
        shownField<Usage>("cachedInputTokens",
                          [](const Usage& u) { return u.tokens.cachedInputTokens; }),
        shownField<Usage>("uncachedInputTokens",
                          [](const Usage& u) { return u.tokens.uncachedInputTokens(); }),
        shownField<Usage>("outputTokens", [](const Usage& u) { return u.tokens.outputTokens; }),
        shownField<Usage>("reasoningOutputTokens",
                          [](const Usage& u) { return u.tokens.reasoningOutputTokens; }),
        shownField<Usage>("totalTokens", [](const Usage& u) { return u.tokens.totalTokens; }),
        shownField<Usage>("visibleTotalTokens",
                          [](const Usage& u) { return u.tokens.visibleTotalTokens(); }),
        field("estimatedCostUSD", &Usage::estimatedCostUSD)};
};

}  // namespace vantry
