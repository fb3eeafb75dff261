#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "local/analytics/ProjectUsageAccumulator.h"
#include "local/analytics/SessionBatch.h"
#include "local/analytics/ToolUsages.h"
#include "local/skills/SkillUsages.h"
#include "records/LocalUsage.h"
#include "statistics/HourlyUsageSeries.h"
#include "statistics/LocalModelUsageAccumulator.h"
#include "statistics/ModelTokenPrice.h"
#include "statistics/ProjectUsageDetailAccumulator.h"
#include "statistics/StatisticsWindows.h"
#include "statistics/UsageDimensionBreakdownAccumulator.h"

namespace vantry {

/// The sums of a batch, built up from what each log adds, in quarters of an hour. One thread.
class SessionAggregation {
  public:
    /// Shares are handed in that count up to `cutoff`, which may be a little later than the
    /// windows' now.
    SessionAggregation(const StatisticsContext& statistics, const StatisticsWindows& windows,
                       Date cutoff);
    SessionAggregation(const SessionAggregation&) = delete;
    SessionAggregation& operator=(const SessionAggregation&) = delete;

    void add(const CodexUsageReader::VisitedSession& session);

    /// Tokens and prices of the four windows.
    struct Totals {
        PricedTokenUsage today;
        PricedTokenUsage sevenDay;
        PricedTokenUsage month;
        PricedTokenUsage lifetime;
    };
    const Totals& totals() const { return totals_; }

    std::int64_t sessionCount() const { return sessionCount_; }
    std::int64_t tokenEventCount() const { return tokenEventCount_; }  ///< repeats included
    bool hasTokenEvents() const { return hasTokenEvents_; }
    std::int64_t rejectedFutureEventCount() const { return rejectedFutureEventCount_; }
    std::int64_t setAsideEventCount() const { return setAsideEventCount_; }

    /// By day key, for the days of the trend.
    const std::map<std::string, PricedTokenUsage>& dailyUsage() const { return dailyUsage_; }

    HourlyUsageSeries hourlySeries() const { return hours_.makeSeries(); }

    struct Project {
        ProjectAccumulators rows;
        ProjectUsageDetailAccumulator detail;
        std::map<std::string, std::int64_t> tokensByOfficialDay;
    };
    const std::map<std::string, Project>& projects() const { return projects_; }

    const std::map<std::string, ToolUsageAccumulator>& tools() const { return tools_; }
    const std::map<std::string, SkillUsageAccumulator>& skills() const { return skills_; }
    UsageDimensionBreakdown breakdown() const { return breakdown_.makeBreakdown(); }
    std::optional<LocalModelUsage> modelUsage() const { return models_.makeUsage(); }

    /// Newest first, subagents left out.
    std::vector<LocalThread> recentThreads() const;

    /// Leaves the threads so far as numbers and drops those that can be no recent ones: of all the
    /// rest that is added later, nothing may be theirs. So it can be stored, and read again for the
    /// same day and zone by an object to which nothing was added.
    void settleThreads();

  private:
    friend struct RecordFields<SessionAggregation>;

    struct PricedModel;
    struct Addition;

    Project& project(const std::string& workingDirectory);
    void addBuckets(Addition& sums);
    void findDay(Date at, Addition& sums);
    void addBucket(const SessionShareBucket& bucket, Addition& sums);
    void addDay(const SessionShareBucket& bucket, double costUSD);
    void addToolsAndSkills(const CodexUsageReader::VisitedSession& session, Project& project);
    void addThread(const CodexUsageReader::VisitedSession& session, std::int64_t tokens);
    std::vector<PricedModel> pricedModels(const CodexUsageReader::VisitedSession& session);

    StatisticsWindows windows_;
    Calendar calendar_;
    Totals totals_;
    std::int64_t sessionCount_ = 0;
    std::int64_t tokenEventCount_ = 0;
    bool hasTokenEvents_ = false;
    std::int64_t rejectedFutureEventCount_ = 0;
    std::int64_t setAsideEventCount_ = 0;
    std::map<std::string, PricedTokenUsage> dailyUsage_;
    HourlyUsageSeriesAccumulator hours_;
    LocalModelUsageAccumulator models_;
    UsageDimensionBreakdownAccumulator breakdown_;
    std::map<std::string, Project> projects_;
    std::map<std::string, ToolUsageAccumulator> tools_;
    std::map<std::string, SkillUsageAccumulator> skills_;
    std::map<std::string, LocalThread> threads_;  ///< by id; a thread can have several logs

    std::map<std::optional<std::string>, ModelTokenPrice> prices_;
    /// Where a day begins within one of the service, by the number of that since 1970.
    std::unordered_map<std::int64_t, std::optional<Date>> midnights_;

    // What the quarter before needed is mostly what the next one needs.
    std::optional<Date> lastDayStart_;
    PricedTokenUsage* lastDay_ = nullptr;
};

template <>
struct RecordFields<SessionAggregation::Totals> {
    using Totals = SessionAggregation::Totals;
    static constexpr std::tuple list{
        field("today", &Totals::today), field("sevenDay", &Totals::sevenDay),
        field("month", &Totals::month), field("lifetime", &Totals::lifetime)};
};

template <>
struct RecordFields<SessionAggregation::Project> {
    using Project = SessionAggregation::Project;
    static constexpr std::tuple list{field("rows", &Project::rows),
                                     field("detail", &Project::detail),
                                     field("tokensByOfficialDay", &Project::tokensByOfficialDay)};
};

template <>
struct RecordFields<SessionAggregation> {
    using Sums = SessionAggregation;
    static constexpr std::tuple list{field("totals", &Sums::totals_),
                                     field("sessionCount", &Sums::sessionCount_),
                                     field("tokenEventCount", &Sums::tokenEventCount_),
                                     field("hasTokenEvents", &Sums::hasTokenEvents_),
                                     field("rejected", &Sums::rejectedFutureEventCount_),
                                     field("setAside", &Sums::setAsideEventCount_),
                                     field("dailyUsage", &Sums::dailyUsage_),
                                     field("hours", &Sums::hours_),
                                     field("models", &Sums::models_),
                                     field("breakdown", &Sums::breakdown_),
                                     field("projects", &Sums::projects_),
                                     field("tools", &Sums::tools_),
                                     field("skills", &Sums::skills_),
                                     field("threads", &Sums::threads_)};
};

}  // namespace vantry
