#pragma once

#include <optional>
#include <string>

#include "records/TokenBreakdown.h"

namespace vantry {

/// List prices of a model in US dollars per million tokens.
struct ModelTokenPrice {
    double inputPerMillion = 0;
    double cachedInputPerMillion = 0;
    double outputPerMillion = 0;

    friend bool operator==(const ModelTokenPrice&, const ModelTokenPrice&) = default;
};

/// The price of a model. One that is not known is priced like the newest, never at zero.
ModelTokenPrice tokenPrice(const std::optional<std::string>& model);

/// What an event is estimated to have cost, in US dollars. Reasoning is part of the output.
double estimatedCostUSD(const TokenBreakdown& tokens, const ModelTokenPrice& price);

}  // namespace vantry
