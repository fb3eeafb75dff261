#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "records/ReadStatus.h"
#include "records/TokenBreakdown.h"

namespace vantry {

/// Tokens of one day, without a split.
struct DailyTokenBucket {
    std::string id;     ///< day key, "yyyy-MM-dd"
    std::string label;  ///< month and day without zeros in front: "9/5"
    std::int64_t tokens = 0;

    /// With the day's label. A text that has not the form of a day key is its own.
    static DailyTokenBucket of(std::string day, std::int64_t tokens);

    friend bool operator==(const DailyTokenBucket&, const DailyTokenBucket&) = default;
};

template <>
struct RecordFields<DailyTokenBucket> {
    static constexpr std::tuple list{field("id", &DailyTokenBucket::id),
                                     field("label", &DailyTokenBucket::label),
                                     field("tokens", &DailyTokenBucket::tokens)};
};

struct UsageDayBucket {
    std::string id;  ///< day key
    Date date;       ///< the day's first instant
    PricedTokenUsage usage;
    UsageSourceQuality sourceQuality = UsageSourceQuality::detailed;

    friend bool operator==(const UsageDayBucket&, const UsageDayBucket&) = default;
};

template <>
struct RecordFields<UsageDayBucket> {
    static constexpr std::tuple list{field("id", &UsageDayBucket::id),
                                     field("date", &UsageDayBucket::date),
                                     field("usage", &UsageDayBucket::usage),
                                     field("sourceQuality", &UsageDayBucket::sourceQuality)};
};

struct UsageHeatmapDay {
    std::string id;  ///< day key
    Date date;
    std::optional<PricedTokenUsage> usage;  ///< absent: not known
    bool isFuture = false;

    friend bool operator==(const UsageHeatmapDay&, const UsageHeatmapDay&) = default;
};

template <>
struct RecordFields<UsageHeatmapDay> {
    static constexpr std::tuple list{
        field("id", &UsageHeatmapDay::id), field("date", &UsageHeatmapDay::date),
        field("usage", &UsageHeatmapDay::usage), field("isFuture", &UsageHeatmapDay::isFuture)};
};

struct UsageTrendSummary {
    PricedTokenUsage sevenDay;
    std::int64_t dailyAverageTokens = 0;
    std::optional<UsageDayBucket> peakDay;
    std::optional<double> changePercent;  ///< against the seven days before
    bool isNewActivity = false;

    friend bool operator==(const UsageTrendSummary&, const UsageTrendSummary&) = default;
};

template <>
struct RecordFields<UsageTrendSummary> {
    static constexpr std::tuple list{
        field("sevenDay", &UsageTrendSummary::sevenDay),
        field("dailyAverageTokens", &UsageTrendSummary::dailyAverageTokens),
        field("peakDay", &UsageTrendSummary::peakDay),
        field("changePercent", &UsageTrendSummary::changePercent),
        field("isNewActivity", &UsageTrendSummary::isNewActivity)};
};

struct UsageTrend {
    std::vector<UsageDayBucket> dayBuckets;  ///< oldest first
    std::vector<std::vector<UsageHeatmapDay>> heatmapWeeks;
    std::vector<std::int64_t> heatmapThresholds;
    UsageTrendSummary summary;
    PricedTokenUsage month;
    std::optional<double> projectedMonthCostUSD;
    std::int64_t activeDayCount = 0;
    UsageSourceQuality sourceQuality = UsageSourceQuality::detailed;

    /// Whether the last day's usage is known: without it the summary says nothing.
    bool knowsToday() const;

    friend bool operator==(const UsageTrend&, const UsageTrend&) = default;
};

// The shown form is flat: a summary with the number of days, not the days themselves.
template <>
struct RecordFields<UsageTrend> {
    using Trend = UsageTrend;
    static constexpr std::tuple list{
        storedField("dayBuckets", &Trend::dayBuckets),
        storedField("heatmapWeeks", &Trend::heatmapWeeks),
        storedField("heatmapThresholds", &Trend::heatmapThresholds),
        storedField("summary", &Trend::summary),
        shownField<Trend>("dayCount", [](const Trend& t) { return t.dayBuckets.size(); }),
        field("activeDayCount", &Trend::activeDayCount),
        shownField<Trend>("dailyAverageTokens",
                          [](const Trend& t) {
                              return t.knowsToday() ? std::optional(t.summary.dailyAverageTokens)
                                                    : std::nullopt;
                          }),
        shownField<Trend>("sevenDay",
                          [](const Trend& t) {
                              return t.knowsToday() ? std::optional(t.summary.sevenDay)
                                                    : std::nullopt;
                          }),
        shownField<Trend>("peakDay", [](const Trend& t) { return t.summary.peakDay; }),
        shownField<Trend>("changePercent", [](const Trend& t) { return t.summary.changePercent; }),
        shownField<Trend>("isNewActivity", [](const Trend& t) { return t.summary.isNewActivity; }),
        field("month", &Trend::month),
        field("projectedMonthCostUSD", &Trend::projectedMonthCostUSD),
        field("sourceQuality", &Trend::sourceQuality)};
};

struct HourlyTokenBucket {
    std::int64_t hour = 0;  ///< 0 to 23
    std::int64_t tokens = 0;

    friend bool operator==(const HourlyTokenBucket&, const HourlyTokenBucket&) = default;
};

template <>
struct RecordFields<HourlyTokenBucket> {
    static constexpr std::tuple list{field("hour", &HourlyTokenBucket::hour),
                                     field("tokens", &HourlyTokenBucket::tokens)};
};

}  // namespace vantry
