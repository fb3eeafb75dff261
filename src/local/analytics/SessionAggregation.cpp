#include "local/analytics/SessionAggregation.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "local/index/ConversationTitle.h"
#include "local/index/ProjectNames.h"
#include "statistics/ProjectLifetimeEstimate.h"

namespace vantry {

namespace {

constexpr std::size_t recentThreadLimit = 20;
constexpr double secondsPerDay = 86'400;

// Codex moves the log of an archived conversation to a folder of its own.
bool isArchived(const std::string& rolloutPath) {
    return rolloutPath.find("/archived_sessions/") != std::string::npos;
}

// As if each event were priced by itself: no price depends on how many there are.
double costOf(const SessionShareBucket& bucket, const ModelTokenPrice& price) {
    return (static_cast<double>(bucket.uncachedInputTokens) * price.inputPerMillion +
            static_cast<double>(bucket.billableCachedInputTokens) * price.cachedInputPerMillion +
            static_cast<double>(bucket.tokens.outputTokens) * price.outputPerMillion) /
           1e6;
}

}  // namespace

/// A model that events name, or none, and what its tokens cost.
struct SessionAggregation::PricedModel {
    std::optional<std::string> id;
    ModelTokenPrice price;
};

/// What one thread adds, gathered before it is put to its project: a thread has one project.
struct SessionAggregation::Addition {
    const CodexUsageReader::VisitedSession& session;
    Project& project;
    std::optional<std::string> conversationTitle;  ///< found where it is asked for
    std::vector<PricedModel> models;               ///< first that of events that name none
    ThreadUsageShare today;
    ThreadUsageShare sevenDays;
    ThreadUsageShare all;
    Date dayStart;                      ///< of the quarters that are added up
    Date dayEnd;                        ///< not before the start of the next
    std::optional<double> officialDay;  ///< days since 1970 of what was before
    std::int64_t* officialDayTokens = nullptr;
};

SessionAggregation::SessionAggregation(const StatisticsContext& statistics,
                                       const StatisticsWindows& windows, Date cutoff)
    : windows_(windows),
      calendar_(statistics.calendar()),
      hours_(windows.now, calendar_),
      models_(cutoff, calendar_) {}

void SessionAggregation::add(const CodexUsageReader::VisitedSession& session) {
    if (!session.isBorrowed) {
        ++sessionCount_;
        tokenEventCount_ = saturatingAdd(tokenEventCount_, session.head.tokenEventCount);
        hasTokenEvents_ = hasTokenEvents_ || session.head.hasTokenEvents;
    }
    setAsideEventCount_ = saturatingAdd(setAsideEventCount_, session.setAsideEventCount);
    rejectedFutureEventCount_ = saturatingAdd(rejectedFutureEventCount_, session.waitingEventCount);
    const SessionShareTokens& tokens = session.tokens;
    // A number that cannot be spoils the trend of the models, which must be exact.
    if (tokens.isSpoilt) models_.add({.tokens = -1, .at = windows_.now});
    Project& home = project(session.source.cwd);
    Addition sums{.session = session, .project = home, .models = pricedModels(session)};
    addBuckets(sums);
    sums.all.firstActiveAt = tokens.firstActiveAt;
    home.rows.today.add(session.source.threadId, sums.today);
    home.rows.sevenDays.add(session.source.threadId, sums.sevenDays);
    home.rows.all.add(session.source.threadId, sums.all);
    addToolsAndSkills(session, home);
    addThread(session, sums.all.tokens.visibleTotalTokens());
}

SessionAggregation::Project& SessionAggregation::project(const std::string& workingDirectory) {
    const std::string id = CodexProjectNameIndex::normalizedPath(workingDirectory);
    const auto [place, isNew] = projects_.try_emplace(id);
    if (isNew) {
        std::string name = CodexUsageReader::shortWorkspaceName(id);
        if (name.empty()) name = id;
        place->second.rows.id = id;
        place->second.rows.name = std::move(name);
        place->second.rows.fullPath = id;
    }
    return place->second;
}

std::vector<SessionAggregation::PricedModel> SessionAggregation::pricedModels(
    const CodexUsageReader::VisitedSession& session) {
    std::vector<PricedModel> models;
    const auto add = [&](const std::optional<std::string>& name) {
        const auto [known, isNew] = prices_.try_emplace(name);
        if (isNew) known->second = tokenPrice(name);
        models.push_back(
            {.id = LocalModelUsageAccumulator::normalizedModel(name), .price = known->second});
    };
    add(session.source.model);
    for (const std::string& model : session.tokens.models) add(model);
    return models;
}

// Quarters of one day and one model are one to all that asks for days: so few are left of the many
// that a log has. The hours of the last days are asked for.
void SessionAggregation::addBuckets(Addition& sums) {
    std::vector<SessionShareBucket> ofDay(sums.models.size());
    std::vector<bool> isThere(sums.models.size());
    const auto flush = [&] {
        for (std::size_t model = 0; model < ofDay.size(); ++model) {
            if (isThere[model]) addBucket(ofDay[model], sums);
            isThere[model] = false;
        }
    };
    sums.session.tokens.buckets.forEach([&](const SessionShareBucket& bucket) {
        const auto model = static_cast<std::size_t>(bucket.model);
        if (model >= ofDay.size()) return;
        const Date at = bucket.start();
        if (!(at >= sums.dayStart && at < sums.dayEnd)) {
            flush();
            findDay(at, sums);
        }
        if (isThere[model]) {
            ofDay[model].add(bucket);
        } else {
            ofDay[model] = bucket;
            isThere[model] = true;
        }
    });
    flush();
}

// What is one day here and for the service alike; of the last days a quarter.
void SessionAggregation::findDay(Date at, Addition& sums) {
    constexpr double hoursAreShown = 9 * secondsPerDay;
    sums.dayStart = at;
    sums.dayEnd = at + SessionShareBucket::seconds;
    if (at >= windows_.todayStart - hoursAreShown) return;
    const double day = std::floor(at.secondsSince1970() / secondsPerDay);
    const Date start(day * secondsPerDay);
    const Date end = start + secondsPerDay;
    const auto [known, isNew] = midnights_.try_emplace(static_cast<std::int64_t>(day));
    if (isNew) {
        const auto midnight = calendar_.startOfDay(end - 1);
        const auto before = midnight ? calendar_.startOfDay(*midnight - 1) : std::nullopt;
        // A zone that crosses the date line has two, and such a day is not added up.
        if (before && (*midnight <= start || *before <= start)) known->second = midnight;
    }
    if (!known->second) return;
    const Date midnight = std::clamp(*known->second, start, end);
    sums.dayStart = at < midnight ? start : midnight;
    sums.dayEnd = at < midnight ? midnight : end;
}

void SessionAggregation::addBucket(const SessionShareBucket& bucket, Addition& sums) {
    const PricedModel& model = sums.models.at(static_cast<std::size_t>(bucket.model));
    const double cost = costOf(bucket, model.price);
    const std::int64_t tokens = bucket.visibleTokens;
    // Only of the last moment more is known than the day, and it is asked for.
    const auto& last = sums.session.tokens.lastActiveAt;
    const bool isLast = last && *last >= sums.dayStart && *last < sums.dayEnd;
    const Date at = isLast ? *last : bucket.start();

    totals_.lifetime.add(bucket.tokens, cost);
    sums.all.add(bucket.tokens, cost, at);
    if (at >= windows_.monthStart) totals_.month.add(bucket.tokens, cost);
    if (at >= windows_.sevenDayStart) {
        totals_.sevenDay.add(bucket.tokens, cost);
        sums.sevenDays.add(bucket.tokens, cost, at);
    }
    if (windows_.isToday(at)) {
        totals_.today.add(bucket.tokens, cost);
        sums.today.add(bucket.tokens, cost, at);
    }
    if (at >= windows_.trendStart) addDay(bucket, cost);
    hours_.add(tokens, at);
    models_.add({.tokens = tokens, .modelID = model.id, .at = at});

    const double officialDay = std::floor(at.secondsSince1970() / secondsPerDay);
    if (sums.officialDay != officialDay) {
        sums.officialDay = officialDay;
        sums.officialDayTokens =
            &sums.project.tokensByOfficialDay[ProjectLifetimeEstimate::officialDayKey(at)];
    }
    *sums.officialDayTokens = saturatingAdd(*sums.officialDayTokens, tokens);

    const SessionUsageSource& root = sums.session.root;
    sums.project.detail.add({.threadID = sums.session.source.threadId,
                             .tokens = tokens,
                             .at = at,
                             .windows = windows_,
                             .calendar = calendar_});
    if (at < windows_.thirtyDayStart) return;
    if (!sums.conversationTitle) {
        sums.conversationTitle =
            CodexUsageReader::normalizedConversationTitle(root.title.value_or(""));
    }
    sums.project.detail.addConversation({.threadID = root.threadId,
                                         .title = *sums.conversationTitle,
                                         .isSubagent = root.isSubagent,
                                         .tokens = tokens,
                                         .at = at,
                                         .windows = windows_});
}

void SessionAggregation::addDay(const SessionShareBucket& bucket, double costUSD) {
    const Date at = bucket.start();
    const Date start = calendar_.startOfDay(at).value_or(at);
    if (lastDayStart_ != start) {
        lastDayStart_ = start;
        lastDay_ = &dailyUsage_[localDayKey(at, calendar_)];
    }
    lastDay_->add(bucket.tokens, costUSD);
}

void SessionAggregation::addToolsAndSkills(const CodexUsageReader::VisitedSession& session,
                                           Project& home) {
    if (session.isBorrowed) return;
    const SessionUsageSource& source = session.source;
    const auto lastEvent =
        session.tokens.lastEventAt ? session.tokens.lastEventAt : source.updatedAt;
    home.detail.addToolCalls(session.share.toolCalls);
    for (const auto& [name, count] : session.share.toolCalls) {
        ToolUsageAccumulator& tool = tools_[name];
        tool.name = name;
        tool.add(count);
        breakdown_.addTool({.id = name,
                            .projectID = home.rows.id,
                            .projectName = home.rows.name,
                            .callCount = count,
                            .threadID = source.threadId,
                            .at = lastEvent});
    }
    for (const SessionShareSkill& load : session.share.skills) {
        SkillUsageAccumulator& skill = skills_[load.path];
        skill.path = load.path;
        skill.addLoads(source.threadId, load.loadCount, load.lastLoadedAt);
        breakdown_.addSkill({.id = load.path,
                             .projectID = home.rows.id,
                             .projectName = home.rows.name,
                             .loadCount = load.loadCount,
                             .threadID = source.threadId,
                             .at = load.lastLoadedAt});
    }
}

void SessionAggregation::addThread(const CodexUsageReader::VisitedSession& session,
                                   std::int64_t tokens) {
    const SessionUsageSource& source = session.source;
    if (source.isSubagent) return;
    const auto [place, isNew] = threads_.try_emplace(source.threadId);
    LocalThread& thread = place->second;
    thread.tokens = saturatingAdd(thread.tokens, tokens);
    if (!isNew && (session.isBorrowed || !(thread.updatedAt <= source.updatedAt))) return;
    thread.id = source.threadId;
    thread.title = source.title.value_or("");
    thread.updatedAt = source.updatedAt;
    thread.model = source.model;
    thread.cwd = source.cwd;
    thread.archived = isArchived(source.rolloutPath);
}

void SessionAggregation::settleThreads() {
    for (auto& [id, project] : projects_) project.detail.settleThreads();
    std::map<std::string, LocalThread> recent;
    for (LocalThread& thread : recentThreads()) {
        auto known = threads_.extract(thread.id);
        recent.insert(std::move(known));
    }
    threads_ = std::move(recent);
}

std::vector<LocalThread> SessionAggregation::recentThreads() const {
    std::vector<LocalThread> threads;
    threads.reserve(threads_.size());
    for (const auto& [id, thread] : threads_) threads.push_back(thread);
    const std::size_t count = std::min(threads.size(), recentThreadLimit);
    const auto end = threads.begin() + static_cast<std::ptrdiff_t>(count);
    std::ranges::partial_sort(threads, end, [](const LocalThread& a, const LocalThread& b) {
        return a.updatedAt != b.updatedAt ? a.updatedAt > b.updatedAt : a.id < b.id;
    });
    threads.erase(end, threads.end());
    for (LocalThread& thread : threads) {
        thread.title = CodexUsageReader::normalizedConversationTitle(thread.title);
    }
    return threads;
}

}  // namespace vantry
