#include "presentation/cards/GoalsCard.h"

#include <algorithm>

#include "presentation/cards/HeatmapCard.h"
#include "presentation/format/TokenFormatter.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/TimeWords.h"
#include "presentation/words/UsageCardWords.h"
#include "statistics/PersonalUsageCalculator.h"

namespace vantry {

namespace {

struct GoalValues {
    const BilingualText& label;
    std::optional<std::int64_t> tokens;
    std::int64_t goal = 0;
    const BilingualText& missing;  ///< what stands in for tokens that are not known
    const BilingualText& reason;
};

GoalRow goalRow(const GoalValues& values, const Wording& words) {
    GoalRow row{.label = words(values.label)};
    const auto progress =
        PersonalUsageCalculator::goalProgress({.current = values.tokens, .goal = values.goal});
    if (!progress) {
        row.value = words(values.missing);
        row.tooltip = words(values.reason);
    } else {
        row.isAvailable = true;
        const std::string current = TokenFormatter::format(progress->current);
        row.tooltip = words(FigureWords::tokens, words.digits(progress->current));
        if (progress->isSet()) {
            row.value =
                words(UsageCardWords::ofGoal, current, TokenFormatter::format(progress->goal));
            row.fraction = std::min(progress->fraction(), 1.0);
            row.isReached = progress->fraction() >= 1;
        } else {
            row.value = current;
        }
    }
    if (values.goal == 0) row.note = words(UsageCardWords::goalNotSet);
    row.accessibleName = words(FigureWords::spoken, row.label, row.value);
    return row;
}

Figure renewalFigure(const SurfaceInput& input, const Wording& words) {
    const PersonalUsageCalculator::Renewal renewal{
        .renewalDay = input.settings.personalUsagePreferences.renewalDay,
        .calendar = words.calendar(),
        .now = input.now};
    Figure figure{.label = words(UsageCardWords::nextRenewal)};
    const auto days = PersonalUsageCalculator::wholeDaysUntilRenewal(renewal);
    figure.isAvailable = days.has_value();
    if (!days) {
        figure.value = words(UsageCardWords::unset);
    } else if (*days == 0) {
        figure.value = words(UsageCardWords::renewsToday);
    } else {
        figure.value = words(*days == 1 ? UsageCardWords::inOneDay : UsageCardWords::inDays, *days);
        const auto today = words.calendar().startOfDay(input.now);
        const auto day = today ? words.calendar().startOfDateAdding(static_cast<int>(*days), *today)
                               : std::nullopt;
        if (day) figure.tooltip = words.formatted(*day, TimeWords::wholeDay);
    }
    figure.accessibleName = words(FigureWords::spoken, figure.label, figure.value);
    return figure;
}

}  // namespace

bool weekHistoryAvailable(const UsageTrend& trend) {
    if (trend.heatmapWeeks.empty()) return false;
    return std::ranges::all_of(trend.heatmapWeeks.back(), [](const UsageHeatmapDay& day) {
        return day.isFuture || day.usage;
    });
}

GoalsCard goalsCard(const SurfaceInput& input) {
    const Wording words = input.wording();
    const LocalUsage* local = input.local();
    const bool isOfToday = input.localOfToday() != nullptr;
    const auto buckets = local != nullptr ? std::optional(local->dailyBuckets) : std::nullopt;
    const StatisticsIdentity& identity = input.state.multiRuntimeSnapshot.statisticsIdentity;
    const StatisticsContext statistics(identity.preference, input.now, words.calendar().zone());
    const PersonalTokenGoalTotals totals = PersonalUsageCalculator::goalTotals(
        {.from = buckets,
         .todayTokens = local != nullptr && input.runtime() != nullptr
                            ? input.runtime()->todayTokens()
                            : std::nullopt,
         .weekHistoryAvailable =
             local != nullptr && local->usageTrend && weekHistoryAvailable(*local->usageTrend),
         .snapshotStatistics = identity,
         .statistics = statistics});
    const bool isOfEarlierDay = local != nullptr && !isOfToday;
    const BilingualText& missing =
        isOfEarlierDay ? UsageCardWords::awaitingStatistics : FigureWords::unavailableForNow;
    const BilingualText& notRead =
        local == nullptr ? FigureWords::notReadYet : FigureWords::notKnownHere;
    const PersonalUsagePreferences& goals = input.settings.personalUsagePreferences;
    FigureOrigin origin = input.localOrigin();
    if (local != nullptr && local->usageTrend) {
        origin.source = sourceOf(local->usageTrend->sourceQuality);
    }
    return {
        .title = words(UsageCardWords::goals),
        .today = goalRow({.label = UsageCardWords::today,
                          .tokens = totals.todayTokens,
                          .goal = goals.dailyTokenGoal(),
                          .missing = missing,
                          .reason = notRead},
                         words),
        .week = goalRow({.label = UsageCardWords::thisWeek,
                         .tokens = totals.weekTokens,
                         .goal = goals.weeklyTokenGoal(),
                         .missing = missing,
                         .reason = totals.todayTokens ? UsageCardWords::weekIncomplete : notRead},
                        words),
        .renewal = renewalFigure(input, words),
        .provenance = words.provenance(origin)};
}

}  // namespace vantry
