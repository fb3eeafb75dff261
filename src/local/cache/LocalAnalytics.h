#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "records/LocalUsage.h"

namespace vantry {

/// All that a complete batch of session logs gives.
struct LocalAnalytics {
    std::optional<DetailedUsage> detailedUsage;
    std::optional<UsageTrend> usageTrend;
    std::optional<std::vector<ProjectUsage>> todayProjects;
    std::vector<ProjectUsage> recentProjects;
    std::vector<ProjectUsage> allProjects;
    std::map<std::string, std::map<std::string, std::int64_t>> localDailyByProject;
    std::map<std::string, ProjectUsageDetail> projectDetails;
    UsageDimensionBreakdown dimensionBreakdown;
    std::vector<ToolUsage> toolUsages;
    std::vector<SkillUsage> skillUsages;
    std::optional<LocalModelUsage> modelUsage;
    std::vector<LocalThread> recentThreads;  ///< newest first
    LocalUsageGaps gaps;

    friend bool operator==(const LocalAnalytics&, const LocalAnalytics&) = default;
};

template <>
struct RecordFields<LocalAnalytics> {
    using Analytics = LocalAnalytics;
    static constexpr std::tuple list{field("detailedUsage", &Analytics::detailedUsage),
                                     field("usageTrend", &Analytics::usageTrend),
                                     field("todayProjects", &Analytics::todayProjects),
                                     field("recentProjects", &Analytics::recentProjects),
                                     field("allProjects", &Analytics::allProjects),
                                     field("localDailyByProject", &Analytics::localDailyByProject),
                                     field("projectDetails", &Analytics::projectDetails),
                                     field("dimensionBreakdown", &Analytics::dimensionBreakdown),
                                     field("toolUsages", &Analytics::toolUsages),
                                     field("skillUsages", &Analytics::skillUsages),
                                     field("modelUsage", &Analytics::modelUsage),
                                     field("recentThreads", &Analytics::recentThreads),
                                     field("gaps", &Analytics::gaps)};
};

/// A complete batch with the day, the zone and the sources that it was made from.
struct LocalAnalyticsCacheEntry {
    std::int64_t version = 0;
    std::string dayKey;
    std::string timeZoneIdentifier;
    std::string databaseFingerprint;
    std::string sourceFingerprint;
    Date capturedAt;
    LocalAnalytics analytics;

    friend bool operator==(const LocalAnalyticsCacheEntry&,
                           const LocalAnalyticsCacheEntry&) = default;
};

template <>
struct RecordFields<LocalAnalyticsCacheEntry> {
    using Entry = LocalAnalyticsCacheEntry;
    static constexpr std::tuple list{field("version", &Entry::version),
                                     field("dayKey", &Entry::dayKey),
                                     field("timeZoneIdentifier", &Entry::timeZoneIdentifier),
                                     field("databaseFingerprint", &Entry::databaseFingerprint),
                                     field("sourceFingerprint", &Entry::sourceFingerprint),
                                     field("capturedAt", &Entry::capturedAt),
                                     field("analytics", &Entry::analytics)};
};

/// What a read of the session logs came to.
struct LocalAnalyticsReadResult {
    LocalAnalytics analytics;
    Date capturedAt;  ///< when the analytics were computed
    bool isStale = false;
    LocalUsageReadStatus readStatus = LocalUsageReadStatus::unavailable;
};

}  // namespace vantry
