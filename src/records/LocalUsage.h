#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "records/DailyUsage.h"
#include "records/LocalUsageGaps.h"
#include "records/Projects.h"

namespace vantry {

/// The exact split of tokens that the session logs give.
struct DetailedUsage {
    PricedTokenUsage today;
    PricedTokenUsage sevenDay;
    PricedTokenUsage month;
    PricedTokenUsage lifetime;
    std::int64_t parsedFileCount = 0;
    std::int64_t tokenEventCount = 0;
    std::optional<std::vector<HourlyTokenBucket>> todayHourlyBuckets;
    std::optional<std::vector<HourlyTokenBucket>> previousSevenDayAverageCumulativeBuckets;

    friend bool operator==(const DetailedUsage&, const DetailedUsage&) = default;
};

template <>
struct RecordFields<DetailedUsage> {
    using Usage = DetailedUsage;
    static constexpr std::tuple list{field("today", &Usage::today),
                                     field("sevenDay", &Usage::sevenDay),
                                     field("month", &Usage::month),
                                     field("lifetime", &Usage::lifetime),
                                     field("parsedFileCount", &Usage::parsedFileCount),
                                     field("tokenEventCount", &Usage::tokenEventCount),
                                     field("todayHourlyBuckets", &Usage::todayHourlyBuckets),
                                     field("previousSevenDayAverageCumulativeBuckets",
                                           &Usage::previousSevenDayAverageCumulativeBuckets),
                                     shownField<Usage>("sourceQuality", [](const Usage&) {
                                         return UsageSourceQuality::detailed;
                                     })};
};

struct LocalThread {
    std::string id;
    std::string title;
    std::int64_t tokens = 0;
    std::optional<Date> updatedAt;
    std::optional<std::string> model;
    std::string cwd;
    bool archived = false;

    friend bool operator==(const LocalThread&, const LocalThread&) = default;
};

template <>
struct RecordFields<LocalThread> {
    static constexpr std::tuple list{field("id", &LocalThread::id),
                                     field("title", &LocalThread::title),
                                     field("tokens", &LocalThread::tokens),
                                     field("updatedAt", &LocalThread::updatedAt),
                                     field("model", &LocalThread::model),
                                     field("cwd", &LocalThread::cwd),
                                     field("archived", &LocalThread::archived)};
};

struct ToolUsage {
    std::string id;
    std::string name;
    std::string category;
    std::int64_t callCount = 0;
    std::optional<std::int64_t> estimatedTokens;
    std::optional<double> estimatedCostUSD;

    friend bool operator==(const ToolUsage&, const ToolUsage&) = default;
};

template <>
struct RecordFields<ToolUsage> {
    static constexpr std::tuple list{field("id", &ToolUsage::id),
                                     field("name", &ToolUsage::name),
                                     field("category", &ToolUsage::category),
                                     field("callCount", &ToolUsage::callCount),
                                     field("estimatedTokens", &ToolUsage::estimatedTokens),
                                     field("estimatedCostUSD", &ToolUsage::estimatedCostUSD)};
};

struct SkillUsage {
    std::string id;
    std::string name;
    std::string path;
    std::string sourceLabel;
    std::int64_t loadCount = 0;
    std::int64_t threadCount = 0;
    std::optional<std::int64_t> staticTokenEstimate;
    std::optional<std::int64_t> staticByteCount;
    std::optional<Date> lastLoadedAt;

    friend bool operator==(const SkillUsage&, const SkillUsage&) = default;
};

template <>
struct RecordFields<SkillUsage> {
    static constexpr std::tuple list{field("id", &SkillUsage::id),
                                     field("name", &SkillUsage::name),
                                     storedField("path", &SkillUsage::path),
                                     field("sourceLabel", &SkillUsage::sourceLabel),
                                     field("loadCount", &SkillUsage::loadCount),
                                     field("threadCount", &SkillUsage::threadCount),
                                     field("staticTokenEstimate", &SkillUsage::staticTokenEstimate),
                                     field("staticByteCount", &SkillUsage::staticByteCount),
                                     field("lastLoadedAt", &SkillUsage::lastLoadedAt)};
};

struct LocalModelDayUsage {
    Date dayStart;
    std::optional<std::string> modelID;  ///< absent: the model could not be told
    std::int64_t tokens = 0;

    friend bool operator==(const LocalModelDayUsage&, const LocalModelDayUsage&) = default;
};

template <>
struct RecordFields<LocalModelDayUsage> {
    static constexpr std::tuple list{field("dayStart", &LocalModelDayUsage::dayStart),
                                     field("modelID", &LocalModelDayUsage::modelID),
                                     field("tokens", &LocalModelDayUsage::tokens)};
};

struct LocalModelUsage {
    Date capturedAt;
    std::string timeZoneIdentifier;
    std::vector<LocalModelDayUsage> buckets;

    friend bool operator==(const LocalModelUsage&, const LocalModelUsage&) = default;
};

template <>
struct RecordFields<LocalModelUsage> {
    static constexpr std::tuple list{
        field("capturedAt", &LocalModelUsage::capturedAt),
        field("timeZoneIdentifier", &LocalModelUsage::timeZoneIdentifier),
        field("buckets", &LocalModelUsage::buckets)};
};

/// All that is computed from Codex's local records. An absent value is not known; zero was
/// measured.
struct LocalUsage {
    std::optional<std::int64_t> lifetimeTokens;
    std::optional<std::int64_t> todayTokens;
    std::optional<std::int64_t> sevenDayTokens;
    std::int64_t threadCount = 0;
    std::optional<Date> lastUpdatedAt;
    std::vector<DailyTokenBucket> dailyBuckets;
    std::vector<LocalThread> recentThreads;
    std::optional<DetailedUsage> detailedUsage;
    std::optional<UsageTrend> usageTrend;
    std::optional<ProjectBoard> projectBoard;
    std::vector<ToolUsage> toolUsages;
    std::vector<SkillUsage> skillUsages;
    std::optional<LocalModelUsage> modelUsage;
    LocalUsageGaps gaps;  ///< what the logs could not tell

    /// Today's tokens by thread, summed over the projects that a conversation touched. Absent
    /// when the conversations are not known.
    std::optional<std::map<std::string, std::int64_t>> todayConversationTokens() const;

    friend bool operator==(const LocalUsage&, const LocalUsage&) = default;
};

template <>
struct RecordFields<LocalUsage> {
    static constexpr std::tuple list{field("lifetimeTokens", &LocalUsage::lifetimeTokens),
                                     field("todayTokens", &LocalUsage::todayTokens),
                                     field("sevenDayTokens", &LocalUsage::sevenDayTokens),
                                     field("threadCount", &LocalUsage::threadCount),
                                     field("lastUpdatedAt", &LocalUsage::lastUpdatedAt),
                                     field("dailyBuckets", &LocalUsage::dailyBuckets),
                                     field("recentThreads", &LocalUsage::recentThreads),
                                     field("detailedUsage", &LocalUsage::detailedUsage),
                                     field("usageTrend", &LocalUsage::usageTrend),
                                     field("projectBoard", &LocalUsage::projectBoard),
                                     field("toolUsages", &LocalUsage::toolUsages),
                                     field("skillUsages", &LocalUsage::skillUsages),
                                     field("modelUsage", &LocalUsage::modelUsage),
                                     field("gaps", &LocalUsage::gaps)};
};

/// What a read of the local records gives back.
struct LocalUsageReadResult {
    std::optional<LocalUsage> local;
    std::optional<Date> capturedAt;
    bool isStale = false;
    LocalUsageReadStatus readStatus = LocalUsageReadStatus::unavailable;
    std::optional<LocalReaderDependencyFailure> dependencyFailure;

    friend bool operator==(const LocalUsageReadResult&, const LocalUsageReadResult&) = default;
};

}  // namespace vantry
