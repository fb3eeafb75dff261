#include "local/analytics/LocalAnalyticsMaking.h"

#include "statistics/UsageTrendCalculation.h"

namespace vantry::CodexUsageReader {

namespace {

DetailedUsage makeDetailedUsage(const SessionAggregation& aggregation) {
    auto hours = aggregation.hourlySeries();
    const SessionAggregation::Totals& totals = aggregation.totals();
    return {.today = totals.today,
            .sevenDay = totals.sevenDay,
            .month = totals.month,
            .lifetime = totals.lifetime,
            .parsedFileCount = aggregation.sessionCount(),
            .tokenEventCount = aggregation.tokenEventCount(),
            .todayHourlyBuckets = std::move(hours.todayHourlyBuckets),
            .previousSevenDayAverageCumulativeBuckets =
                std::move(hours.previousSevenDayAverageCumulativeBuckets)};
}

void addProjects(const SessionAggregation& aggregation, const StatisticsContext& statistics,
                 const StatisticsWindows& windows, LocalAnalytics& analytics) {
    const Calendar calendar = statistics.calendar();
    std::vector<ProjectUsage> today;
    for (const auto& [id, project] : aggregation.projects()) {
        const ProjectAccumulators& rows = project.rows;
        today.push_back(rows.row(rows.today));
        analytics.recentProjects.push_back(rows.row(rows.sevenDays));
        analytics.allProjects.push_back(rows.row(rows.all));
        analytics.projectDetails.emplace(id,
                                         project.detail.makeDetail(windows.todayStart, calendar));
        if (!project.tokensByOfficialDay.empty()) {
            analytics.localDailyByProject.emplace(id, project.tokensByOfficialDay);
        }
    }
    analytics.todayProjects = sortedProjects(std::move(today));
    analytics.recentProjects = sortedProjects(std::move(analytics.recentProjects));
    analytics.allProjects = sortedProjects(std::move(analytics.allProjects));
}

}  // namespace

LocalAnalytics makeLocalAnalytics(const SessionAggregation& aggregation,
                                  const StatisticsContext& statistics,
                                  const StatisticsWindows& windows) {
    LocalAnalytics analytics{
        .detailedUsage = makeDetailedUsage(aggregation),
        .usageTrend = makeUsageTrend({.dailyUsage = aggregation.dailyUsage(),
                                      .dayStart = windows.todayStart,
                                      .sevenDayStart = windows.sevenDayStart,
                                      .trendStart = windows.trendStart,
                                      .monthStart = windows.monthStart,
                                      .calendar = statistics.calendar(),
                                      .sourceQuality = UsageSourceQuality::detailed}),
        .dimensionBreakdown = aggregation.breakdown(),
        .toolUsages = makeToolUsages(aggregation.tools()),
        .modelUsage = aggregation.modelUsage(),
        .recentThreads = aggregation.recentThreads()};
    addProjects(aggregation, statistics, windows, analytics);
    return analytics;
}

}  // namespace vantry::CodexUsageReader
