#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/Calendar.h"
#include "records/DailyUsage.h"

namespace vantry {

/// Tokens by hour of the day.
using TokensByHour = std::array<std::int64_t, 24>;

/// The hours of one day, fed event by event. One thread. Hours are those of the clock on the wall:
/// an hour that comes twice counts as one, and one that is skipped stays 0.
class TodayHourlyTokenAccumulator {
  public:
    /// The day that holds `dayStart`.
    TodayHourlyTokenAccumulator(Date dayStart, const Calendar& calendar);

    /// An event of another day is ignored, at the price of a comparison.
    void add(std::int64_t tokens, Date at);

    /// All 24.
    std::vector<HourlyTokenBucket> buckets() const;

  private:
    friend struct RecordFields<TodayHourlyTokenAccumulator>;

    Calendar calendar_;
    Date dayStart_;
    Date dayEnd_;
    TokensByHour tokensByHour_{};
};

template <>
struct RecordFields<TodayHourlyTokenAccumulator> {
    static constexpr std::tuple list{
        field("tokensByHour", &TodayHourlyTokenAccumulator::tokensByHour_)};
};

/// Running sums of a day's hours, through that hour.
std::vector<HourlyTokenBucket> cumulativeHourlyBuckets(const std::vector<HourlyTokenBucket>& hours,
                                                       int throughHour);

struct HourlyUsageSeries {
    std::vector<HourlyTokenBucket> todayHourlyBuckets;      ///< all 24
    std::vector<HourlyTokenBucket> todayCumulativeBuckets;  ///< through the current hour
    /// All 24. A day without events counts as one of zero: what is divided by is always 7.
    std::vector<HourlyTokenBucket> previousSevenDayAverageCumulativeBuckets;

    friend bool operator==(const HourlyUsageSeries&, const HourlyUsageSeries&) = default;
};

/// Today's hours against those of the seven days before, fed event by event. One thread.
class HourlyUsageSeriesAccumulator {
  public:
    HourlyUsageSeriesAccumulator(Date now, const Calendar& calendar);

    /// An event of an earlier or later day is ignored, at the price of a comparison.
    void add(std::int64_t tokens, Date at);

    HourlyUsageSeries makeSeries() const;

  private:
    friend struct RecordFields<HourlyUsageSeriesAccumulator>;

    Calendar calendar_;
    Date todayStart_;
    Date historyStart_;
    int currentHour_ = 0;
    TodayHourlyTokenAccumulator todayTokens_;
    TokensByHour historyTokensByHour_{};
};

template <>
struct RecordFields<HourlyUsageSeriesAccumulator> {
    using Sums = HourlyUsageSeriesAccumulator;
    static constexpr std::tuple list{field("today", &Sums::todayTokens_),
                                     field("history", &Sums::historyTokensByHour_)};
};

/// The sum. Nothing where a value is negative or the sum does not fit 64 bits.
std::optional<std::int64_t> checkedNonnegativeSum(std::span<const std::int64_t> values);

namespace HourlyUsageSeriesCalculator {

struct Sample {
    Date date;
    std::int64_t tokens = 0;
};

struct Request {
    std::span<const Sample> samples;
    Date now;
    const Calendar& calendar;
};

/// What an accumulator fed with the samples gives.
HourlyUsageSeries make(const Request& request);

/// The average curve in the shape of the local events and the height of the account's daily
/// totals. Nothing, so that the curve stays as it was, where it is not a full day of hours that
/// never falls, where there are not seven valid totals, or where there is a height without a shape.
std::optional<std::vector<HourlyTokenBucket>> calibratedPreviousAverageCumulativeBuckets(
    const std::optional<std::vector<HourlyTokenBucket>>& localBuckets,
    std::span<const std::int64_t> previousSevenDayTotals);

}  // namespace HourlyUsageSeriesCalculator

}  // namespace vantry
