#include "presentation/dashboard/UsageTab.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <map>

#include "official/QuotaWindow.h"
#include "presentation/format/TokenFormatter.h"
#include "presentation/words/DashboardWords.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/QuotaWords.h"
#include "presentation/words/TimeWords.h"
#include "presentation/words/UsageCardWords.h"
#include "statistics/PersonalUsagePace.h"
#include "statistics/UsageTrendCalculation.h"

namespace vantry {

namespace {

PaceBar paceBar(const BilingualText& label, std::optional<double> fraction, const Wording& words) {
    PaceBar bar{.label = words(label), .fraction = fraction};
    if (fraction) bar.value = fmt::format("{:.0f}%", std::round(*fraction * 100));
    return bar;
}

QuotaPaceCard quotaPaceCard(const SurfaceInput& input, const Wording& words) {
    const RuntimeUsageSnapshot* runtime = input.runtime();
    const auto& window = input.snapshot().secondary;
    const bool isStale = runtime != nullptr && runtime->status == RuntimeMenuStatus::stale;
    const auto capturedAt = runtime != nullptr ? runtime->quotaCapturedAt : std::nullopt;
    const bool isRunning = window && QuotaWindowPresentation::isValid(
                                         {.resetsAt = window->resetsAt,
                                          .capturedAt = capturedAt,
                                          .windowDurationMins = window->windowDurationMins,
                                          .now = input.now});
    const auto pace = isRunning ? WeeklyQuotaPaceCalculator::calculate(
                                      {.windowDurationMins = window->windowDurationMins,
                                       .usedPercent = window->usedPercent,
                                       .resetsAt = window->resetsAt,
                                       .isStale = isStale,
                                       .now = input.now})
                                : std::nullopt;
    using Status = WeeklyQuotaPaceStatus;
    QuotaPaceCard card{
        .title = words(DashboardWords::quotaPace),
        .meaning = words(DashboardWords::quotaPaceMeaning),
        .timeElapsed =
            paceBar(DashboardWords::timeElapsed, pace ? pace->timeProgress : std::nullopt, words),
        .quotaUsed = paceBar(DashboardWords::quotaUsed,
                             pace ? std::optional(pace->quotaUsed) : std::nullopt, words),
        .provenance = words.provenance(
            {.source = FigureSource::account, .capturedAt = capturedAt, .isStale = isStale})};
    if (pace && pace->status) {
        const bool isHealthy = *pace->status == Status::healthy;
        card.mark = isHealthy ? PaceMark::healthy : PaceMark::aheadOfPace;
        card.status = words(isHealthy ? DashboardWords::healthyPace : DashboardWords::aheadOfPace);
    }
    if (!pace) card.emptyText = words(FigureWords::unavailable);
    card.accessibleName = fmt::format("{}, {} {}, {} {}, {}", card.title, card.timeElapsed.label,
                                      card.timeElapsed.value, card.quotaUsed.label,
                                      card.quotaUsed.value, pace ? card.status : card.emptyText);
    return card;
}

class TrendMaker {
  public:
    TrendMaker(const SurfaceInput& input, const Wording& words) : input_(input), words_(words) {}

    UsageTrendPanel panel() {
        panel_.title = words_(DashboardWords::usageTrend);
        panel_.rangePickerName = words_(DashboardWords::selectTrendRange);
        panel_.viewModels = {.kind = ActionKind::showModels,
                             .title = words_(DashboardWords::viewModels)};
        panel_.provenance = words_.provenance(input_.localOrigin());
        const LocalUsage* local = input_.local();
        const UsageTrend* trend =
            local != nullptr && local->usageTrend ? &*local->usageTrend : nullptr;
        const std::size_t days = trend != nullptr ? trend->dayBuckets.size() : 0;
        const auto range = resolvedTrendRange(
            {.selected = input_.navigation.usageTrendRange, .bucketCount = days});
        addRanges(range, days);
        const auto shown = range
                               ? UsageTrendRangeCalculator::presentation(trend->dayBuckets, *range)
                               : std::nullopt;
        if (!shown) {
            showNothing();
        } else {
            show(*shown, *trend, dayCount(*range));
        }
        return std::move(panel_);
    }

  private:
    void addRanges(std::optional<UsageTrendRange> chosen, std::size_t days) {
        for (const UsageTrendRange range : allUsageTrendRanges) {
            const std::string count = fmt::format("{}", dayCount(range));
            panel_.ranges.push_back(
                {.title = count,
                 .isSelected = chosen == range,
                 .isEnabled = days >= dayCount(range),
                 .action = {.kind = ActionKind::selectTrendRange,
                            .target = count,
                            .title = words_(UsageCardWords::activeDays, count)}});
        }
    }

    void showNothing() {
        const bool hasFailed =
            input_.snapshot().localUsageReadStatus == LocalUsageReadStatus::unavailable;
        if (input_.isFirstRead()) {
            panel_.empty = {words_(QuotaWords::reading), ""};
        } else if (hasFailed) {
            panel_.empty = {words_(DashboardWords::recentUnavailable),
                            words_(DashboardWords::detailInsufficient)};
        } else {
            const bool isEmpty = input_.local() == nullptr || !input_.local()->usageTrend;
            panel_.empty = {
                words_(isEmpty ? DashboardWords::noUsageTrend : DashboardWords::noRecentTrend),
                words_(DashboardWords::notEnoughDays)};
        }
        panel_.accessibleName = words_(FigureWords::spoken, panel_.title, panel_.empty->title);
    }

    void show(const UsageTrendRangePresentation& shown, const UsageTrend& trend, std::size_t days) {
        std::map<std::string, bool> isKnown;
        for (const auto& week : trend.heatmapWeeks) {
            for (const UsageHeatmapDay& day : week) isKnown[day.id] = day.usage.has_value();
        }
        std::int64_t unknown = 0;
        for (const UsageDayBucket& bucket : shown.buckets) {
            const auto known = isKnown.find(bucket.id);
            addPoint(bucket, known == isKnown.end() || known->second);
            if (!panel_.points.back().tokens) ++unknown;
        }
        panel_.basis = words_(basisWord(trend.sourceQuality));
        FigureOrigin origin = input_.localOrigin();
        origin.source = sourceOf(trend.sourceQuality);
        panel_.provenance = words_.provenance(origin);
        if (trend.sourceQuality == UsageSourceQuality::hybrid) {
            panel_.note = words_(DashboardWords::trendSources);
        }
        if (unknown > 0) {
            if (!panel_.note.empty()) panel_.note += " ";
            panel_.note += words_(
                unknown == 1 ? DashboardWords::dayNotKnown : DashboardWords::daysNotKnown, unknown);
        }
        addFigures(shown, trend, days);
        const std::string total =
            TokenFormatter::format(shown.totalUsage.tokens.visibleTotalTokens());
        panel_.accessibleName =
            words_(UsageCardWords::spokenChart, panel_.title,
                   words_(UsageCardWords::activeDays, days), total, panel_.figures[2].value);
    }

    void addPoint(const UsageDayBucket& bucket, bool isKnown) {
        TrendPoint point{
            .id = bucket.id,
            .label = words_.formatted(bucket.date, TimeWords::shortDay),
            .isToday = words_.calendar().day(bucket.date) == words_.calendar().day(input_.now)};
        const std::string day = words_.formatted(bucket.date, TimeWords::longDay);
        if (isKnown) {
            point.tokens = CodexUsageReader::visibleTokens(bucket);
            point.tooltip =
                words_(UsageCardWords::dayTokens, day, TokenFormatter::format(point.tokens)) +
                " · " + words_(basisWord(bucket.sourceQuality));
            if (point.isToday) point.tooltip += " · " + words_(DashboardWords::todayUnfinished);
        } else {
            point.tooltip = words_(UsageCardWords::dayUnavailable, day);
        }
        panel_.points.push_back(std::move(point));
    }

    void addFigures(const UsageTrendRangePresentation& shown, const UsageTrend& trend,
                    std::size_t days) {
        const std::int64_t total = shown.totalUsage.tokens.visibleTotalTokens();
        add(DashboardWords::total, TokenFormatter::format(total),
            words_(FigureWords::tokens, words_.digits(total)));
        add(DashboardWords::dailyAverage, TokenFormatter::format(shown.dailyAverageTokens),
            words_(FigureWords::tokens, words_.digits(shown.dailyAverageTokens)));
        if (shown.peakDay) {
            const std::int64_t most = CodexUsageReader::visibleTokens(*shown.peakDay);
            add(DashboardWords::peakDay, TokenFormatter::format(most),
                words_(UsageCardWords::dayTokens,
                       words_.formatted(shown.peakDay->date, TimeWords::longDay),
                       words_.digits(most)));
        } else {
            add(DashboardWords::peakDay, std::nullopt, words_(UsageCardWords::noRecentTokens));
        }
        const bool isCompared = shown.changePercent || shown.isNewActivity;
        const std::string against = words_(DashboardWords::comparedWith, days);
        if (shown.changePercent) {
            add(DashboardWords::change, Wording::signedPercent(*shown.changePercent), against);
        } else if (isCompared) {
            add(DashboardWords::change, words_(DashboardWords::newActivity), against);
        } else {
            add(DashboardWords::change, std::nullopt, words_(DashboardWords::comparisonIncomplete));
        }
        addCost(trend);
    }

    void addCost(const UsageTrend& trend) {
        const auto& cost = trend.month.estimatedCostUSD;
        if (!cost) {
            add(DashboardWords::monthCost, std::nullopt, words_(DashboardWords::costUnknown));
            return;
        }
        add(DashboardWords::monthCost, fmt::format("${:.2f}", *cost),
            trend.projectedMonthCostUSD
                ? words_(DashboardWords::projectedCost, *trend.projectedMonthCostUSD)
                : std::string());
    }

    void add(const BilingualText& label, const std::optional<std::string>& value,
             const std::string& tooltip) {
        Figure figure{.label = words_(label),
                      .tooltip = tooltip,
                      .provenance = panel_.provenance,
                      .isAvailable = value.has_value(),
                      .isStale = input_.localOrigin().isStale};
        if (value) figure.value = *value;
        figure.accessibleName = words_(FigureWords::spoken, figure.label, figure.value);
        panel_.figures.push_back(std::move(figure));
    }

    const SurfaceInput& input_;
    const Wording& words_;
    UsageTrendPanel panel_;
};

}  // namespace

UsageTab usageTab(const SurfaceInput& input) {
    const Wording words = input.wording();
    UsageTab tab{.quotaPace = quotaPaceCard(input, words),
                 .todaysPace = hourlyUsageCard(input),
                 .trend = TrendMaker(input, words).panel(),
                 .heatmap = heatmapCard(input, HeatmapDetail::dashboard)};
    tab.todaysPace.title = words(DashboardWords::todaysPace);
    if (input.navigation.isShowingModelUsage) tab.models = modelUsagePanel(input);
    return tab;
}

}  // namespace vantry
