#include "statistics/ModelTokenPrice.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/Text.h"

namespace vantry {

namespace {

enum class Match { contains, equals };

struct PriceRow {
    Match match;
    std::string_view model;
    ModelTokenPrice price;
};

// The first row that fits gives the price. Models without a cache discount repeat the input price.
constexpr std::array rows{
    PriceRow{Match::contains, "gpt-5.5-pro", {30, 30, 180}},
    PriceRow{Match::contains, "gpt-5.5", {5, 0.5, 30}},
    PriceRow{Match::equals, "chat-latest", {5, 0.5, 30}},
    PriceRow{Match::contains, "gpt-5.4-mini", {0.75, 0.075, 4.5}},
    PriceRow{Match::contains, "gpt-5.4-nano", {0.2, 0.02, 1.25}},
    PriceRow{Match::contains, "gpt-5.4-pro", {30, 30, 180}},
    PriceRow{Match::contains, "gpt-5.4", {2.5, 0.25, 15}},
    PriceRow{Match::contains, "gpt-5.3-codex", {1.75, 0.175, 14}},
    PriceRow{Match::contains, "gpt-5.2-codex", {1.75, 0.175, 14}},
    PriceRow{Match::contains, "gpt-5.3-chat-latest", {1.75, 0.175, 14}},
    PriceRow{Match::contains, "gpt-5.2", {1.75, 0.175, 14}},
    PriceRow{Match::contains, "gpt-5-codex", {1.25, 0.125, 10}},
    PriceRow{Match::equals, "gpt-5", {1.25, 0.125, 10}},
    PriceRow{Match::contains, "", {5, 0.5, 30}},
};

}  // namespace

ModelTokenPrice tokenPrice(const std::optional<std::string>& model) {
    const std::string id = asciiLowercased(model.value_or(""));
    const auto row = std::ranges::find_if(rows, [&](const PriceRow& candidate) {
        return candidate.match == Match::equals ? id == candidate.model
                                                : id.find(candidate.model) != std::string::npos;
    });
    return row->price;
}

double estimatedCostUSD(const TokenBreakdown& tokens, const ModelTokenPrice& price) {
    return (static_cast<double>(tokens.uncachedInputTokens()) * price.inputPerMillion +
            static_cast<double>(tokens.billableCachedInputTokens()) * price.cachedInputPerMillion +
            static_cast<double>(tokens.outputTokens) * price.outputPerMillion) /
           1e6;
}

}  // namespace vantry
