#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "records/LocalUsage.h"

namespace vantry {

/// How many natural days a trend shows.
enum class ModelUsageRange {
    thirtyDays = 30,
    sixtyDays = 60,
    ninetyDays = 90,
    oneEightyDays = 180
};

/// One band of the stacked trend.
struct ModelUsageSeries {
    std::string id;                      ///< "model:" and the model's id, "other", or "unknown"
    std::optional<std::string> modelID;  ///< absent for "other" and "unknown"
    bool isOther = false;
    std::vector<std::optional<std::int64_t>> tokensByDay;  ///< absent: nothing recorded that day
    std::int64_t totalTokens = 0;

    friend bool operator==(const ModelUsageSeries&, const ModelUsageSeries&) = default;
};

struct ModelUsageTrend {
    std::vector<Date> days;  ///< the first instant of each, oldest first
    std::vector<ModelUsageSeries> series;
    std::int64_t totalTokens = 0;         ///< exactly the sum of all series
    std::int64_t unattributedTokens = 0;  ///< of events without a model
    Date capturedAt;

    friend bool operator==(const ModelUsageTrend&, const ModelUsageTrend&) = default;
};

struct ModelUsageTrendRequest {
    ModelUsageRange range = ModelUsageRange::thirtyDays;
    Date now;
};

/// The eight models of most tokens, then all others as one, then the unknown, over the days up to
/// the day of the capture; a later `now` adds no days. A series is there only if something was
/// recorded for it in these days, so that a trend of none is possible. Nothing where a time is not
/// finite, the zone is not known, a value is negative, or a sum does not fit 64 bits.
std::optional<ModelUsageTrend> trend(const LocalModelUsage& usage,
                                     const ModelUsageTrendRequest& request);

}  // namespace vantry
