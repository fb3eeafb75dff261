#include "statistics/HourlyUsageSeries.h"

#include <algorithm>
#include <cmath>

#include "records/TokenBreakdown.h"

namespace vantry {

namespace {

// Days as the calendar has them, or of 24 hours where it cannot tell.
Date startOfDayAdding(int days, Date start, const Calendar& calendar) {
    return calendar.startOfDayAdding(days, start).value_or(start + days * 86'400.0);
}

void addTo(TokensByHour& tokensByHour, std::int64_t tokens, std::optional<int> hour) {
    if (!hour) return;
    std::int64_t& sum = tokensByHour.at(static_cast<std::size_t>(*hour));
    sum = saturatingAdd(sum, tokens);
}

std::vector<HourlyTokenBucket> bucketsOf(const TokensByHour& tokensByHour) {
    std::vector<HourlyTokenBucket> buckets;
    for (const std::int64_t tokens : tokensByHour) {
        buckets.push_back({.hour = static_cast<std::int64_t>(buckets.size()), .tokens = tokens});
    }
    return buckets;
}

// Each with the sum of all up to it.
std::vector<HourlyTokenBucket> cumulative(std::vector<HourlyTokenBucket> buckets) {
    std::int64_t sum = 0;
    for (HourlyTokenBucket& bucket : buckets) {
        sum = saturatingAdd(sum, bucket.tokens);
        bucket.tokens = sum;
    }
    return buckets;
}

// Whether a curve is 24 hours in order that never fall and do not end below zero.
bool isFullCurve(std::span<const HourlyTokenBucket> curve) {
    if (curve.size() != TokensByHour{}.size() || curve.back().tokens < 0) return false;
    for (std::size_t hour = 0; hour < curve.size(); ++hour) {
        if (curve[hour].hour != static_cast<std::int64_t>(hour)) return false;
    }
    return std::ranges::is_sorted(curve, {}, &HourlyTokenBucket::tokens);
}

std::int64_t saturatedRound(double value) {
    constexpr double limit = 0x1p63;
    const double rounded = std::round(value);
    if (rounded >= limit) return INT64_MAX;
    if (rounded < -limit) return INT64_MIN;
    return static_cast<std::int64_t>(rounded);
}

}  // namespace

std::vector<HourlyTokenBucket> cumulativeHourlyBuckets(const std::vector<HourlyTokenBucket>& hours,
                                                       int throughHour) {
    std::vector<HourlyTokenBucket> sums = cumulative(hours);
    sums.resize(std::min(sums.size(), static_cast<std::size_t>(std::max(throughHour + 1, 0))));
    return sums;
}

TodayHourlyTokenAccumulator::TodayHourlyTokenAccumulator(Date dayStart, const Calendar& calendar)
    : calendar_(calendar),
      dayStart_(calendar.startOfDay(dayStart).value_or(dayStart)),
      dayEnd_(startOfDayAdding(1, dayStart_, calendar)) {}

void TodayHourlyTokenAccumulator::add(std::int64_t tokens, Date at) {
    if (!(at >= dayStart_ && at < dayEnd_)) return;
    addTo(tokensByHour_, tokens, calendar_.hour(at));
}

std::vector<HourlyTokenBucket> TodayHourlyTokenAccumulator::buckets() const {
    return bucketsOf(tokensByHour_);
}

HourlyUsageSeriesAccumulator::HourlyUsageSeriesAccumulator(Date now, const Calendar& calendar)
    : calendar_(calendar),
      todayStart_(calendar.startOfDay(now).value_or(now)),
      historyStart_(startOfDayAdding(-7, todayStart_, calendar)),
      currentHour_(calendar.hour(now).value_or(0)),
      todayTokens_(todayStart_, calendar) {}

void HourlyUsageSeriesAccumulator::add(std::int64_t tokens, Date at) {
    if (!(at >= historyStart_)) return;
    if (at < todayStart_) {
        addTo(historyTokensByHour_, tokens, calendar_.hour(at));
    } else {
        todayTokens_.add(tokens, at);
    }
}

HourlyUsageSeries HourlyUsageSeriesAccumulator::makeSeries() const {
    HourlyUsageSeries series{
        .todayHourlyBuckets = todayTokens_.buckets(),
        .previousSevenDayAverageCumulativeBuckets = cumulative(bucketsOf(historyTokensByHour_))};
    series.todayCumulativeBuckets =
        cumulativeHourlyBuckets(series.todayHourlyBuckets, currentHour_);
    for (HourlyTokenBucket& bucket : series.previousSevenDayAverageCumulativeBuckets) {
        bucket.tokens /= 7;
    }
    return series;
}

std::optional<std::int64_t> checkedNonnegativeSum(std::span<const std::int64_t> values) {
    std::int64_t sum = 0;
    for (const std::int64_t value : values) {
        if (value < 0 || __builtin_add_overflow(sum, value, &sum)) return std::nullopt;
    }
    return sum;
}

HourlyUsageSeries HourlyUsageSeriesCalculator::make(const Request& request) {
    HourlyUsageSeriesAccumulator accumulator(request.now, request.calendar);
    for (const Sample& sample : request.samples) accumulator.add(sample.tokens, sample.date);
    return accumulator.makeSeries();
}

std::optional<std::vector<HourlyTokenBucket>>
HourlyUsageSeriesCalculator::calibratedPreviousAverageCumulativeBuckets(
    const std::optional<std::vector<HourlyTokenBucket>>& localBuckets,
    std::span<const std::int64_t> previousSevenDayTotals) {
    if (!localBuckets || !isFullCurve(*localBuckets) || previousSevenDayTotals.size() != 7) {
        return std::nullopt;
    }
    const auto sum = checkedNonnegativeSum(previousSevenDayTotals);
    if (!sum) return std::nullopt;
    const std::int64_t average = *sum / 7;
    if (average == 0) return bucketsOf({});
    const auto localEnd = static_cast<double>(localBuckets->back().tokens);
    if (localEnd == 0) return std::nullopt;

    std::vector<HourlyTokenBucket> curve = *localBuckets;
    std::int64_t previous = 0;
    for (HourlyTokenBucket& bucket : curve) {
        const double height =
            static_cast<double>(bucket.tokens) / localEnd * static_cast<double>(average);
        bucket.tokens = std::clamp(saturatedRound(height), previous, average);
        previous = bucket.tokens;
    }
    curve.back().tokens = average;
    return curve;
}

}  // namespace vantry
