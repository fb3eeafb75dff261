#include "runtime/LocalUsageAggregation.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "statistics/UsageHeatmap.h"
#include "statistics/UsageTrendRange.h"

namespace vantry::AgentUsageAggregator {

namespace {

constexpr auto addTokens = [](auto& row, const auto& more) {
    row.tokens = saturatingAdd(row.tokens, more.tokens);
};

void add(PricedTokenUsage& into, const PricedTokenUsage& more) {
    into.add(more.tokens, more.estimatedCostUSD);
}

std::optional<std::int64_t> aggregateOptionalTokens(
    const Parts<LocalUsage>& usages, std::optional<std::int64_t> LocalUsage::*total) {
    std::optional<std::int64_t> sum;
    for (const LocalUsage* usage : usages) addKnownTokens(sum, usage->*total);
    return sum;
}

std::vector<DailyTokenBucket> aggregateDailyBuckets(const Parts<LocalUsage>& usages) {
    auto days =
        joinedByKey(partsOf(usages, &LocalUsage::dailyBuckets), &DailyTokenBucket::id, addTokens);
    std::ranges::sort(days, {}, &DailyTokenBucket::id);
    return days;
}

// The newer row of a thread says what it is called and where it is.
std::vector<LocalThread> aggregateThreads(const Parts<LocalUsage>& usages) {
    const auto join = [](LocalThread& thread, const LocalThread& more) {
        const std::int64_t sum = saturatingAdd(thread.tokens, more.tokens);
        if (more.updatedAt > thread.updatedAt) thread = more;
        thread.tokens = sum;
    };
    auto threads = joinedByKey(partsOf(usages, &LocalUsage::recentThreads), &LocalThread::id, join);
    std::ranges::sort(threads, [](const LocalThread& a, const LocalThread& b) {
        return std::tie(b.updatedAt, a.id) < std::tie(a.updatedAt, b.id);
    });
    return threads;
}

std::optional<std::vector<HourlyTokenBucket>> aggregateHours(
    const Parts<std::vector<HourlyTokenBucket>>& lists) {
    if (lists.empty()) return std::nullopt;
    auto hours = joinedByKey(lists, &HourlyTokenBucket::hour, addTokens);
    std::ranges::sort(hours, {}, &HourlyTokenBucket::hour);
    return hours;
}

DetailedUsage aggregateDetailedUsages(const Parts<DetailedUsage>& parts) {
    using Detailed = DetailedUsage;
    if (parts.size() == 1) return *parts.front();
    Detailed sum;
    for (const Detailed* part : parts) {
        for (const auto period :
             {&Detailed::today, &Detailed::sevenDay, &Detailed::month, &Detailed::lifetime}) {
            add(sum.*period, part->*period);
        }
        for (const auto count : {&Detailed::parsedFileCount, &Detailed::tokenEventCount}) {
            sum.*count = saturatingAdd(sum.*count, part->*count);
        }
    }
    sum.todayHourlyBuckets = aggregateHours(partsOf(parts, &Detailed::todayHourlyBuckets));
    sum.previousSevenDayAverageCumulativeBuckets =
        aggregateHours(partsOf(parts, &Detailed::previousSevenDayAverageCumulativeBuckets));
    return sum;
}

bool coverSameDays(const UsageTrend& a, const UsageTrend& b) {
    const auto isSameDay = [](const auto& x, const auto& y) {
        return x.id == y.id && x.date == y.date;
    };
    const auto isSameCell = [&](const UsageHeatmapDay& x, const UsageHeatmapDay& y) {
        return isSameDay(x, y) && x.isFuture == y.isFuture;
    };
    const auto isSameWeek = [&](const auto& x, const auto& y) {
        return std::ranges::equal(x, y, isSameCell);
    };
    return std::ranges::equal(a.dayBuckets, b.dayBuckets, isSameDay) &&
           std::ranges::equal(a.heatmapWeeks, b.heatmapWeeks, isSameWeek);
}

// Adds what is a sum over the same days. The projected cost is one too: all spread the month over
// the same days, and a trend that cost nothing has none.
void addDays(UsageTrend& sum, const UsageTrend& more) {
    for (std::size_t i = 0; i < sum.dayBuckets.size(); ++i) {
        UsageDayBucket& day = sum.dayBuckets[i];
        add(day.usage, more.dayBuckets[i].usage);
        day.sourceQuality = std::max(day.sourceQuality, more.dayBuckets[i].sourceQuality);
    }
    for (std::size_t week = 0; week < sum.heatmapWeeks.size(); ++week) {
        for (std::size_t i = 0; i < sum.heatmapWeeks[week].size(); ++i) {
            auto& usage = sum.heatmapWeeks[week][i].usage;
            const auto& further = more.heatmapWeeks[week][i].usage;
            if (usage && further) {
                add(*usage, *further);
            } else if (further) {
                usage = further;
            }
        }
    }
    add(sum.month, more.month);
    if (more.projectedMonthCostUSD) {
        sum.projectedMonthCostUSD =
            sum.projectedMonthCostUSD.value_or(0) + *more.projectedMonthCostUSD;
    }
    if (!sum.month.estimatedCostUSD) sum.projectedMonthCostUSD.reset();
    sum.sourceQuality = std::max(sum.sourceQuality, more.sourceQuality);
}

// What cannot be added is told anew from the days.
std::optional<UsageTrend> aggregateTrends(const Parts<UsageTrend>& parts) {
    if (parts.empty()) return std::nullopt;
    UsageTrend trend = *parts.front();
    if (parts.size() == 1) return trend;
    for (const UsageTrend* part : Parts<UsageTrend>(parts.begin() + 1, parts.end())) {
        if (!coverSameDays(trend, *part)) return std::nullopt;
        addDays(trend, *part);
    }
    const auto week =
        UsageTrendRangeCalculator::presentation(trend.dayBuckets, UsageTrendRange::sevenDays);
    if (!week) return std::nullopt;
    trend.summary = {.sevenDay = week->totalUsage,
                     .dailyAverageTokens = week->dailyAverageTokens,
                     .peakDay = week->peakDay,
                     .changePercent = week->changePercent,
                     .isNewActivity = week->isNewActivity};
    std::vector<std::int64_t> totals;
    trend.activeDayCount = 0;
    for (const auto& days : trend.heatmapWeeks) {
        for (const UsageHeatmapDay& day : days) {
            const std::int64_t total = day.usage ? day.usage->tokens.visibleTotalTokens() : 0;
            if (total <= 0) continue;
            totals.push_back(total);
            trend.activeDayCount += !day.isFuture;
        }
    }
    std::ranges::sort(totals);
    trend.heatmapThresholds = CodexUsageReader::heatmapThresholds(totals);
    return trend;
}

std::vector<ToolUsage> aggregateToolUsages(const Parts<LocalUsage>& usages) {
    const auto join = [](ToolUsage& tool, const ToolUsage& more) {
        tool.callCount = saturatingAdd(tool.callCount, more.callCount);
        addKnownTokens(tool.estimatedTokens, more.estimatedTokens);
        addCost(tool.estimatedCostUSD, more.estimatedCostUSD);
    };
    auto tools = joinedByKey(partsOf(usages, &LocalUsage::toolUsages), &ToolUsage::name, join);
    std::ranges::sort(tools, [](const ToolUsage& a, const ToolUsage& b) {
        return std::tie(b.callCount, a.name) < std::tie(a.callCount, b.name);
    });
    return tools;
}

std::vector<SkillUsage> aggregateSkillUsages(const Parts<LocalUsage>& usages) {
    const auto join = [](SkillUsage& skill, const SkillUsage& more) {
        skill.loadCount = saturatingAdd(skill.loadCount, more.loadCount);
        skill.threadCount = saturatingAdd(skill.threadCount, more.threadCount);
        skill.lastLoadedAt = std::max(skill.lastLoadedAt, more.lastLoadedAt);
    };
    auto skills = joinedByKey(partsOf(usages, &LocalUsage::skillUsages), &SkillUsage::id, join);
    std::ranges::stable_sort(skills, std::ranges::greater{}, &SkillUsage::loadCount);
    return skills;
}

std::optional<LocalModelUsage> aggregateModelUsages(const Parts<LocalModelUsage>& parts) {
    if (parts.empty()) return std::nullopt;
    LocalModelUsage result = *parts.front();
    if (parts.size() == 1) return result;
    for (const LocalModelUsage* part : parts) {
        if (part->timeZoneIdentifier != result.timeZoneIdentifier) return std::nullopt;
        result.capturedAt = std::min(result.capturedAt, part->capturedAt);
    }
    bool overflowed = false;
    result.buckets = joinedByKey(
        partsOf(parts, &LocalModelUsage::buckets),
        [](const LocalModelDayUsage& row) { return std::pair(row.dayStart, row.modelID); },
        [&](LocalModelDayUsage& row, const LocalModelDayUsage& more) {
            overflowed |= __builtin_add_overflow(row.tokens, more.tokens, &row.tokens);
        });
    if (overflowed) return std::nullopt;
    std::ranges::sort(result.buckets, [](const auto& a, const auto& b) {
        const bool aIsUnknown = !a.modelID;
        const bool bIsUnknown = !b.modelID;
        return std::tie(a.dayStart, aIsUnknown, a.modelID) <
               std::tie(b.dayStart, bIsUnknown, b.modelID);
    });
    return result;
}

}  // namespace

LocalUsage aggregateLocalUsage(const Parts<LocalUsage>& usages) {
    if (usages.size() == 1) return *usages.front();
    LocalUsage result{
        .lifetimeTokens = aggregateOptionalTokens(usages, &LocalUsage::lifetimeTokens),
        .todayTokens = aggregateOptionalTokens(usages, &LocalUsage::todayTokens),
        .sevenDayTokens = aggregateOptionalTokens(usages, &LocalUsage::sevenDayTokens),
        .dailyBuckets = aggregateDailyBuckets(usages),
        .recentThreads = aggregateThreads(usages),
        .usageTrend = aggregateTrends(partsOf(usages, &LocalUsage::usageTrend)),
        .toolUsages = aggregateToolUsages(usages),
        .skillUsages = aggregateSkillUsages(usages),
        .modelUsage = aggregateModelUsages(partsOf(usages, &LocalUsage::modelUsage))};
    for (const LocalUsage* usage : usages) {
        result.threadCount = saturatingAdd(result.threadCount, usage->threadCount);
        result.lastUpdatedAt = std::max(result.lastUpdatedAt, usage->lastUpdatedAt);
        result.gaps.add(usage->gaps);
    }
    if (const auto parts = partsOf(usages, &LocalUsage::detailedUsage); !parts.empty()) {
        result.detailedUsage = aggregateDetailedUsages(parts);
    }
    if (const auto parts = partsOf(usages, &LocalUsage::projectBoard); !parts.empty()) {
        result.projectBoard = aggregateProjectBoards(parts);
    }
    return result;
}

}  // namespace vantry::AgentUsageAggregator
