#include "presentation/charts/HeatmapGlowPlanner.h"
#include "presentation/charts/UsageTrendHover.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "statistics/HourlyUsageSeries.h"
#include "statistics/StatisticsWindows.h"
#include "statistics/UsageHeatmap.h"
#include "statistics/UsageTrendCalculation.h"
#include "statistics/UsageTrendRange.h"

namespace vantry::UsageTrendSelfTest {

using namespace CodexUsageReader;

namespace {

const double notANumber = std::nan("");

Calendar calendarIn(const std::string& zone) {
    return Calendar(*TimeZone::named(zone));
}

StatisticsWindows windowsOf(const std::string& zone, Date now) {
    return StatisticsWindows::of(contextIn(zone, now));
}

using Days = std::map<std::string, PricedTokenUsage>;

UsageTrendRequest requestOf(const Days& days, const StatisticsWindows& windows,
                            const Calendar& calendar) {
    return {.dailyUsage = days,
            .dayStart = windows.todayStart,
            .sevenDayStart = windows.sevenDayStart,
            .trendStart = windows.trendStart,
            .monthStart = windows.monthStart,
            .calendar = calendar};
}

// A trend in UTC, of usage in tokens and cents, `daysAgo` 0 being today.
UsageTrend trendOf(const std::map<int, std::int64_t>& byDaysAgo, Date now) {
    Days days;
    const Calendar calendar(TimeZone::utc());
    for (const auto& [daysAgo, tokens] : byDaysAgo) {
        days[localDayKey(now - 86'400.0 * daysAgo, calendar)] = {
            .tokens = {.inputTokens = tokens}, .estimatedCostUSD = static_cast<double>(tokens)};
    }
    return makeUsageTrend(requestOf(days, windowsOf("UTC", now), calendar));
}

void checkSummary(SelfTest& test) {
    const Date now = at("2026-03-10T12:00:00Z");
    const UsageTrend trend = trendOf(
        {{0, 20}, {3, 50}, {6, 50}, {7, 40}, {13, 20}, {14, 1'000}, {190, 7}, {191, 9}}, now);
    test.expect(trend.dayBuckets.size() == 191 && trend.dayBuckets.front().id == "2025-09-01" &&
                    visibleTokens(trend.dayBuckets) == 1'187,
                "191 days with today, and nothing of earlier ones");
    const UsageTrendSummary& summary = trend.summary;
    test.expect(summary.sevenDay.tokens.inputTokens == 120 && summary.dailyAverageTokens == 17 &&
                    summary.peakDay->id == "2026-03-04" && summary.changePercent == 100 &&
                    !summary.isNewActivity,
                "seven days against the seven before; the first of two peaks");
    test.expect(trend.month.estimatedCostUSD == 160 && trend.projectedMonthCostUSD == 496 &&
                    trend.activeDayCount == 6,
                "a month's cost goes on as it was; the heatmap shows less than the buckets");
    const UsageTrend fresh = trendOf({{0, 5}, {14, 9}}, at("2026-03-01T12:00:00Z"));
    test.expect(!fresh.summary.changePercent && fresh.summary.isNewActivity &&
                    fresh.month.estimatedCostUSD == 5 && !fresh.projectedMonthCostUSD,
                "no projection on the first of a month, no change from nothing");
    const UsageTrend idle = trendOf({}, now);
    test.expect(!idle.summary.peakDay && !idle.summary.isNewActivity && idle.activeDayCount == 0 &&
                    trendOf({{0, 5}}, Date(notANumber)).dayBuckets.empty(),
                "no peak of nothing, no buckets of no day");
    const UsageTrend full = trendOf({{0, INT64_MAX}, {1, INT64_MAX}, {8, 1}}, now);
    test.expect(full.summary.sevenDay.tokens.inputTokens == INT64_MAX &&
                    full.heatmapThresholds.back() == INT64_MAX / 5 * 4 + 1,
                "sums stop at the limits");
}

void checkQuality(SelfTest& test) {
    const Date now = at("2026-03-10T12:00:00Z");
    const Calendar calendar(TimeZone::utc());
    const Days days{{"2026-03-09", PricedTokenUsage::totalOnly(5)},
                    {"2026-03-10", PricedTokenUsage::totalOnly(6)}};
    UsageTrendRequest request = requestOf(days, windowsOf("UTC", now), calendar);
    request.sourceQuality = UsageSourceQuality::hybrid;
    request.sourceQualityByDay = {{"2026-03-10", UsageSourceQuality::detailed},
                                  {"2026-03-05", UsageSourceQuality::approximate}};
    request.unavailableDayKeys = {"2026-03-09"};
    const UsageTrend trend = makeUsageTrend(request);
    const auto& buckets = trend.dayBuckets;
    test.expect(buckets.end()[-1].sourceQuality == UsageSourceQuality::detailed &&
                    buckets.end()[-2].sourceQuality == UsageSourceQuality::hybrid &&
                    buckets.end()[-3].sourceQuality == UsageSourceQuality::official &&
                    buckets.end()[-6].sourceQuality == UsageSourceQuality::approximate,
                "a day is as good as where it came from");
    const auto& lastWeek = trend.heatmapWeeks.back();  // Tuesday is today
    test.expect(trend.heatmapWeeks.size() == 26 && lastWeek.size() == 7 &&
                    lastWeek[0].id == "2026-03-09" && !lastWeek[0].usage &&
                    lastWeek[1].usage->tokens.totalTokens == 6 && !lastWeek[1].isFuture &&
                    lastWeek[2].isFuture && !lastWeek[2].usage && trend.activeDayCount == 1 &&
                    trend.heatmapWeeks[0][0].usage == PricedTokenUsage{},
                "what is not known is not shown; a day of nothing is known to be one");
}

// The days of the map from the first shown on: none lost, none twice, each from its first instant.
template <typename Day>
bool areDaysOf(const Days& days, const std::vector<Day>& shown, const Calendar& calendar) {
    auto expected = days.find(shown.front().id);
    return std::ranges::all_of(shown, [&](const Day& day) {
        return day.id == (expected++)->first && calendar.startOfDay(day.date + 1) == day.date;
    });
}

// Todays around a change of clocks and across a year, where each day holds one token.
void checkZones(SelfTest& test) {
    using Case = std::array<std::string, 3>;
    for (const auto& [zone, noon, skippedDay] :
         {Case{"America/Los_Angeles", "2026-03-04T20:00:00Z"},
          Case{"Australia/Lord_Howe", "2026-04-01T02:00:00Z"},
          Case{"Pacific/Apia", "2011-12-24T22:00:00Z", "2011-12-30"},
          Case{"America/Sao_Paulo", "2018-10-31T15:00:00Z"}}) {
        const Calendar calendar = calendarIn(zone);
        Days days;
        for (int day = -250; day < 400; ++day) {
            const auto key = iso8601Text(at(noon) + 86'400.0 * day)->substr(0, 10);
            if (key != skippedDay) days[key] = PricedTokenUsage::totalOnly(1);
        }
        bool isWhole = true;
        for (int day = 0; day < 366 && isWhole; day += day < 16 ? 1 : 13) {
            const Date now = at(noon) + 86'400.0 * day;
            const UsageTrend trend =
                makeUsageTrend(requestOf(days, windowsOf(zone, now), calendar));
            const auto& buckets = trend.dayBuckets;
            std::vector<UsageHeatmapDay> cells;
            for (const auto& week : trend.heatmapWeeks) {
                isWhole = isWhole && calendar.weekday(week.front().date) == 2;
                cells.insert(cells.end(), week.begin(), week.end());
            }
            const bool skips = cells.front().id < skippedDay && cells.back().id > skippedDay;
            const auto future = std::ranges::count_if(cells, &UsageHeatmapDay::isFuture);
            const auto active = std::ssize(cells) - future;
            isWhole = isWhole && areDaysOf(days, buckets, calendar) && buckets.size() >= 190 &&
                      buckets.back().id == localDayKey(now, calendar) &&
                      areDaysOf(days, cells, calendar) && cells.size() == (skips ? 181 : 182) &&
                      future < 7 && trend.activeDayCount == active;
        }
        test.expect(isWhole, "every day once in " + zone);
    }
    const Days days{{"2018-10-28", PricedTokenUsage::totalOnly(3)},
                    {"2018-11-04", PricedTokenUsage::totalOnly(6)}};
    const auto windows = windowsOf("America/Sao_Paulo", at("2018-11-10T15:00:00Z"));
    const Calendar calendar = calendarIn("America/Sao_Paulo");
    test.expect(makeUsageTrend(requestOf(days, windows, calendar)).summary.changePercent == 100,
                "what is counted from a day without a midnight begins at midnight");
}

void checkThresholds(SelfTest& test) {
    using List = std::vector<std::int64_t>;
    const List many{10, 20, 30, 40, 50, 60, 70};
    test.expect(heatmapThresholds(List{}) == List{1, 1, 1, 1} &&
                    heatmapThresholds(List{5}) == List{1, 2, 3, 4} &&
                    heatmapThresholds(List{3, 4, 5, 9}) == List{1, 3, 5, 7} &&
                    heatmapThresholds(many) == List{30, 40, 60, 60} && quantile(many, 2) == 70 &&
                    quantile(many, notANumber) == 10 && quantile({}, 0.5) == 1,
                "fifths of the peak, or quantiles");
    const List thresholds{100, 200, 300, 400};
    // The last amount of each level.
    const int lasts[] = {0, 100, 200, 79'999'999, 299'999'998};
    for (int level = 0; level < 5; ++level) {
        test.expect(HeatmapGlowPlanner::level(lasts[level], thresholds) == level &&
                        HeatmapGlowPlanner::level(lasts[level] + 1, thresholds) == level + 1,
                    "the amounts of a level: " + std::to_string(level));
    }
    test.expect(HeatmapGlowPlanner::level(999, List{100}) == 1 &&
                    HeatmapGlowPlanner::level(-1, thresholds) == 0 &&
                    !HeatmapGlowPlanner::isEligible(37'663'609) &&
                    HeatmapGlowPlanner::isEligible(37'663'610),
                "a level without thresholds, and what may glow");
}

void checkGlow(SelfTest& test) {
    using namespace HeatmapGlowPlanner;
    std::vector<std::string> ids;
    std::vector<UsageHeatmapGlowTarget> targets;
    for (int day = 0; day < 49; ++day) {
        ids.push_back("2026-01-" + std::to_string(10 + day));
        const int week = day / 7;
        targets.push_back({.id = ids.back(), .x = 10.0 * week, .y = 10.0 * (day % 7)});
    }
    const std::vector<std::string> spread = orderedCandidateIDs(targets);
    const std::vector<std::string> ordered = orderedCandidateIDs(ids);
    test.expect(ordered.size() == 49 && ordered[0] == "2026-01-20" && ordered[4] == "2026-01-24" &&
                    ordered[48] == "2026-01-58" && spread[0] == ordered[0] &&
                    spread[1] == "2026-01-52" && spread[2] == "2026-01-58" &&
                    spread[5] == "2026-01-13",
                "a day keeps its place in the order");
    const std::vector<std::string> single{""};
    const auto active = [&](std::int64_t phase) {
        return activeCellIDs({.orderedCandidates = ordered, .phase = phase});
    };
    test.expect(active(0).size() == 4 && active(1).size() == 5 && active(98) == active(0) &&
                    active(-3) == active(0) && active(1).contains(ordered[4]) &&
                    !active(2).contains(ordered[0]) &&
                    activeCellIDs({.candidates = ids, .phase = 7}) == active(7),
                "four cells, then five, then the next four");
    const auto strengths = [&](double time) {
        return glowStrengths({.orderedCandidates = ordered, .time = time});
    };
    const auto fading = strengths(1.15 + 0.175);  // half way
    test.expect(strengths(1.1).size() == 4 && fading.size() == 5 && fading.at(ordered[0]) > 0.71 &&
                    fading.at(ordered[4]) > 0.35 && fading.at(ordered[4]) < 0.51 &&
                    strengths(-5) == strengths(0) && strengths(notANumber) == strengths(0),
                "a crossfade glow frame should draw no more than five cells");
}

void checkRanges(SelfTest& test) {
    const auto shown = [](const std::vector<std::int64_t>& tokens) {
        std::vector<UsageDayBucket> buckets(tokens.size());
        for (std::size_t day = 0; day < tokens.size(); ++day) {
            buckets[day].id = std::to_string(day);
            buckets[day].usage = PricedTokenUsage::totalOnly(tokens[day]);
        }
        return UsageTrendRangeCalculator::presentation(buckets, UsageTrendRange::sevenDays);
    };
    const auto whole = shown({9, 1, 1, 1, 1, 1, 1, 2, 3, 9, 1, 9, 1, 1, 1});
    test.expect(whole->buckets.size() == 7 && whole->buckets.front().id == "8" &&
                    whole->totalUsage.tokens.totalTokens == 25 && whole->dailyAverageTokens == 3 &&
                    whole->peakDay->id == "9" && whole->changePercent == 212.5,
                "7-day summary drifted");
    const auto incomplete = shown({0, 0, 0, 0, 0, 0, 5, 5, 5, 5, 5, 5, 5});
    test.expect(!incomplete->changePercent && !incomplete->isNewActivity && !shown({1, 2, 3}) &&
                    shown({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5})->isNewActivity,
                "incomplete comparison period should remain unavailable");
    using Range = UsageTrendRange;
    test.expect(!largestAvailableTrendRange(6) &&
                    largestAvailableTrendRange(29) == Range::sevenDays &&
                    largestAvailableTrendRange(90) == Range::ninetyDays &&
                    resolvedTrendRange({Range::sevenDays, 90}) == Range::sevenDays &&
                    resolvedTrendRange({Range::ninetyDays, 89}) == Range::thirtyDays &&
                    !resolvedTrendRange({Range::thirtyDays, 6}),
                "a range for which there are days");
    using UsageTrendHoverIndexCalculator::index;
    const double infinite = std::numeric_limits<double>::infinity();
    const auto nearest = [](double x) {
        return index({.locationX = x, .firstX = 10, .lastX = 20, .count = 3});
    };
    test.expect(nearest(12.4) == 0 && nearest(12.5) == 1 && nearest(-infinite) == 0 &&
                    nearest(infinite) == 2 && nearest(notANumber) == 0 &&
                    !index({.locationX = 5, .lastX = 9, .count = 0}) &&
                    index({.locationX = 5, .lastX = 9, .count = 1}) == 0 &&
                    index({.locationX = 5, .firstX = 9, .lastX = 9, .count = 3}) == 0,
                "the point under the pointer");
}

void checkHours(SelfTest& test) {
    const Calendar shanghai = calendarIn("Asia/Shanghai");
    const Date start = at("2026-09-04T16:00:00Z");
    std::vector<HourlyUsageSeriesCalculator::Sample> samples;
    for (int hour = -8 * 24; hour < 26; ++hour) {
        const bool isSkipped = hour >= -3 * 24 && hour < -2 * 24;
        if (!isSkipped) samples.push_back({start + hour * 3'600.0, 14});
    }
    const HourlyUsageSeries series = HourlyUsageSeriesCalculator::make(
        {.samples = samples, .now = start + 17.5 * 3'600, .calendar = shanghai});
    test.expect(series.todayHourlyBuckets.size() == 24 &&
                    series.todayCumulativeBuckets.size() == 18 &&
                    series.todayCumulativeBuckets.back().tokens == 18 * 14 &&
                    series.previousSevenDayAverageCumulativeBuckets.size() == 24 &&
                    series.previousSevenDayAverageCumulativeBuckets[11].tokens == 12 * 14 * 6 / 7,
                "today so far against seven whole days, a day without events among them");
    // Every minute of a day and those around it, on days of a clock change.
    using Case = std::tuple<const char*, const char*, std::int64_t, std::size_t, std::int64_t>;
    for (const auto& [zone, now, minutes, oddHour, inOddHour] :
         {Case{"America/Los_Angeles", "2026-11-01T20:00:00Z", 25 * 60, 1, 120},
          Case{"Australia/Lord_Howe", "2026-04-05T02:00:00Z", 24 * 60 + 30, 1, 90},
          Case{"America/Sao_Paulo", "2018-11-04T15:00:00Z", 23 * 60, 23, 60}}) {
        const Calendar calendar = calendarIn(zone);
        HourlyUsageSeriesAccumulator accumulator(at(now), calendar);
        for (int minute = -48 * 60; minute < 48 * 60; ++minute) {
            accumulator.add(1, at(now) + minute * 60.0);
        }
        accumulator.add(64, Date(notANumber));
        const auto hours = accumulator.makeSeries().todayHourlyBuckets;
        std::int64_t sum = 0;
        for (const HourlyTokenBucket& hour : hours) sum += hour.tokens;
        test.expect(hours.size() == 24 && sum == minutes && hours[oddHour].tokens == inOddHour,
                    std::string("the hours of a clock change in ") + zone);
    }
}
void checkCalibration(SelfTest& test) {
    using Curve = std::vector<HourlyTokenBucket>;
    using Totals = std::vector<std::int64_t>;
    const auto calibrated = [](const std::optional<Curve>& curve, const Totals& totals) {
        return HourlyUsageSeriesCalculator::calibratedPreviousAverageCumulativeBuckets(curve,
                                                                                       totals);
    };
    const auto curveOf = [](std::int64_t first, std::int64_t step) {
        Curve curve;
        for (int hour = 0; hour < 24; ++hour) curve.push_back({hour, first + step * hour});
        return curve;
    };
    const Curve rising = curveOf(0, 1);
    const Curve flat = curveOf(0, 0);
    const Totals totals{70, 0, 0, 0, 0, 0, 6};
    const auto raised = calibrated(rising, totals);
    test.expect(raised && raised->at(11).tokens == 5 && raised->at(13).tokens == 6 &&
                    raised->at(22).tokens == 10 && raised->back() == HourlyTokenBucket{23, 10},
                "the shape of the events, the height of the totals");
    test.expect(calibrated(rising, Totals(7)) == flat && calibrated(flat, Totals(7)) == flat &&
                    !calibrated(flat, totals),
                "a height of zero is flat; a height without a shape is nothing");
    const auto highest = calibrated(rising, {INT64_MAX, 0, 0, 0, 0, 0, 0});
    test.expect(highest && highest->back().tokens == INT64_MAX / 7, "a height near the limit");
    Curve falling = rising;
    falling[5].tokens = 9;
    const Curve brief(rising.begin(), rising.end() - 1);
    for (const auto& bad : {std::optional(falling), std::optional(brief),
                            std::optional(curveOf(-30, 1)), std::optional<Curve>()}) {
        test.expect(!calibrated(bad, totals), "no full curve");
    }
    for (const Totals& bad : {Totals(6), Totals(8), Totals{1, 1, 1, 1, 1, 1, -1},
                              Totals{INT64_MAX, 1, 0, 0, 0, 0, 0}}) {
        test.expect(!calibrated(rising, bad), "no valid totals");
    }
}

}  // namespace

bool run() {
    return SelfTest::run("usage trend", {checkSummary, checkQuality, checkZones, checkThresholds,
                                         checkGlow, checkRanges, checkHours, checkCalibration});
}

}  // namespace vantry::UsageTrendSelfTest
