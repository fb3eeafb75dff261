#include "presentation/cards/HourlyUsageCard.h"

#include <algorithm>
#include <fmt/format.h>

#include "presentation/format/TokenFormatter.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/UsageCardWords.h"
#include "statistics/HourlyUsageSeries.h"
#include "statistics/UsageTrendCalculation.h"

namespace vantry {

namespace {

constexpr std::size_t hoursOfDay = 24;

std::string hourTooltip(const HourPoint& point, const Wording& words) {
    std::string hour = fmt::format("{:02}:00", point.hour);
    const std::string today = TokenFormatter::format(point.today);
    const std::string average = TokenFormatter::format(point.average);
    if (point.today && point.average) {
        return words(UsageCardWords::hourTooltip, hour, today, average);
    }
    if (point.today) return words(UsageCardWords::hourTooltipWithoutAverage, hour, today);
    if (point.average) return words(UsageCardWords::hourTooltipAverageAlone, hour, average);
    return hour;
}

std::string comparisonText(const HourPoint& now, const Wording& words) {
    const auto against = [&](const std::string& change) {
        return words(UsageCardWords::againstAverage, change);
    };
    if (!now.today || !now.average) return against("--");
    const CodexUsageReader::UsageChange change =
        CodexUsageReader::usageChange({.current = *now.today, .previous = *now.average});
    if (change.isNewActivity) return words(UsageCardWords::newAgainstAverage);
    return against(change.percent ? Wording::signedPercent(*change.percent) : "--");
}

}  // namespace

HourlyUsageCard hourlyUsageCard(const SurfaceInput& input) {
    const Wording words = input.wording();
    const LocalUsage* local = input.localOfToday();
    const DetailedUsage* detail =
        local != nullptr && local->detailedUsage ? &*local->detailedUsage : nullptr;
    const auto hour = words.calendar().hour(input.now);
    HourlyUsageCard card{.title = words(UsageCardWords::hourlyTitle),
                         .todayValue = TokenFormatter::format(std::nullopt),
                         .comparison = words(UsageCardWords::againstAverage, "--"),
                         .provenance = words.provenance(input.localOrigin()),
                         .isStale = input.localOrigin().isStale};
    const auto isWhole = [](const auto& buckets) {
        return buckets && buckets->size() == hoursOfDay;
    };
    if (detail == nullptr || !hour || !isWhole(detail->todayHourlyBuckets)) {
        const bool hasToday = local != nullptr && local->todayTokens;
        card.emptyText = words(hasToday ? UsageCardWords::noHours : UsageCardWords::noCumulative);
        card.header = words(UsageCardWords::hourlyHeaderPending, "--");
        card.accessibleName = words(FigureWords::spoken, card.title, card.emptyText);
        return card;
    }
    const auto cumulative =
        cumulativeHourlyBuckets(*detail->todayHourlyBuckets, static_cast<int>(*hour));
    const auto& average = detail->previousSevenDayAverageCumulativeBuckets;
    for (std::size_t i = 0; i < hoursOfDay; ++i) {
        HourPoint point{.hour = static_cast<std::int64_t>(i)};
        if (i < cumulative.size()) point.today = cumulative[i].tokens;
        if (isWhole(average)) point.average = (*average)[i].tokens;
        card.maximum = std::max({card.maximum, point.today.value_or(0), point.average.value_or(0)});
        point.tooltip = hourTooltip(point, words);
        card.hours.push_back(std::move(point));
    }
    const HourPoint& now = card.hours[static_cast<std::size_t>(*hour)];
    if (!now.average) card.title = words(UsageCardWords::hourlyTitleWithoutAverage);
    card.todayValue = TokenFormatter::format(now.today);
    card.header =
        words(UsageCardWords::hourlyHeader, card.todayValue, TokenFormatter::format(now.average));
    card.comparison = comparisonText(now, words);
    card.accessibleName = words(FigureWords::spoken, card.title, now.tooltip);
    return card;
}

}  // namespace vantry
