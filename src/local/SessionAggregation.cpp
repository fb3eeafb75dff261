#include "local/SessionAggregation.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "local/ConversationTitle.h"
#include "local/ProjectNames.h"
#include "statistics/ProjectLifetimeEstimate.h"

namespace vantry {

namespace {

constexpr std::string_view unclassifiedProject = "未归类";
constexpr std::size_t recentThreadLimit = 20;
constexpr double secondsPerDay = 86'400;

// Codex moves the log of an archived conversation to a folder of its own.
bool isArchived(const std::string& rolloutPath) {
    return rolloutPath.find("/archived_sessions/") != std::string::npos;
}

}  // namespace

/// What one thread adds, gathered before it is put to its project: a thread has one project.
struct SessionAggregation::Share {
    const CodexUsageReader::VisitedSession& session;
    Project& project;
    std::string conversationTitle;
    std::optional<std::string> indexModel;  ///< of events that name none
    ThreadUsageShare today;
    ThreadUsageShare sevenDays;
    ThreadUsageShare all;
    std::optional<double> officialDay;  ///< days since 1970 of the event before
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
        tokenEventCount_ = saturatingAdd(tokenEventCount_, session.entry.tokenEventCount);
        hasTokenEvents_ = hasTokenEvents_ || session.entry.hasTokenEvents;
    }
    setAsideEventCount_ = saturatingAdd(setAsideEventCount_, session.usage.setAsideDeltaCount);
    rejectedFutureEventCount_ =
        saturatingAdd(rejectedFutureEventCount_, session.usage.rejectedFutureDeltaCount);
    Project& home = project(session.source.cwd);
    Share share{.session = session,
                .project = home,
                .conversationTitle =
                    CodexUsageReader::normalizedConversationTitle(session.root.title.value_or("")),
                .indexModel = LocalModelUsageAccumulator::normalizedModel(session.source.model)};
    for (const SessionUsageDelta& delta : session.usage.deltas) addEvent(delta, share);
    home.rows.today.add(session.source.threadId, share.today);
    home.rows.sevenDays.add(session.source.threadId, share.sevenDays);
    home.rows.all.add(session.source.threadId, share.all);
    addToolsAndSkills(session, home);
    addThread(session, share.all.tokens.visibleTotalTokens());
}

SessionAggregation::Project& SessionAggregation::project(const std::string& workingDirectory) {
    const std::string id = CodexProjectNameIndex::normalizedPath(workingDirectory);
    const auto [place, isNew] = projects_.try_emplace(id);
    if (isNew) {
        std::string name = CodexUsageReader::shortWorkspaceName(id);
        if (name.empty()) name = id.empty() ? std::string(unclassifiedProject) : id;
        place->second.rows.id = id;
        place->second.rows.name = std::move(name);
        place->second.rows.fullPath = id;
    }
    return place->second;
}

const ModelTokenPrice& SessionAggregation::price(const std::optional<std::string>& model) {
    if (!lastPrice_ || lastPricedModel_ != model) {
        lastPricedModel_ = model;
        lastPrice_ = tokenPrice(model);
    }
    return *lastPrice_;
}

void SessionAggregation::addEvent(const SessionUsageDelta& delta, Share& share) {
    const auto& model = delta.model ? delta.model : share.indexModel;
    const double cost = estimatedCostUSD(delta.tokens, price(model));
    const std::int64_t tokens = delta.tokens.visibleTotalTokens();
    const Date at = delta.date;

    totals_.lifetime.add(delta.tokens, cost);
    share.all.add(delta.tokens, cost, at);
    if (at >= windows_.monthStart) totals_.month.add(delta.tokens, cost);
    if (at >= windows_.sevenDayStart) {
        totals_.sevenDay.add(delta.tokens, cost);
        share.sevenDays.add(delta.tokens, cost, at);
    }
    if (windows_.isToday(at)) {
        totals_.today.add(delta.tokens, cost);
        share.today.add(delta.tokens, cost, at);
    }
    if (at >= windows_.trendStart) addDay(delta, cost);
    hours_.add(tokens, at);
    models_.add({.tokens = tokens, .modelID = model, .at = at});

    const double officialDay = std::floor(at.secondsSince1970() / secondsPerDay);
    if (share.officialDay != officialDay) {
        share.officialDay = officialDay;
        share.officialDayTokens =
            &share.project.tokensByOfficialDay[ProjectLifetimeEstimate::officialDayKey(at)];
    }
    *share.officialDayTokens = saturatingAdd(*share.officialDayTokens, tokens);

    const SessionUsageSource& root = share.session.root;
    share.project.detail.add({.threadID = share.session.source.threadId,
                              .tokens = tokens,
                              .at = at,
                              .windows = windows_,
                              .calendar = calendar_});
    share.project.detail.addConversation({.threadID = root.threadId,
                                          .title = share.conversationTitle,
                                          .isSubagent = root.isSubagent,
                                          .tokens = tokens,
                                          .at = at,
                                          .windows = windows_});
}

void SessionAggregation::addDay(const SessionUsageDelta& delta, double costUSD) {
    const Date start = calendar_.startOfDay(delta.date).value_or(delta.date);
    if (lastDayStart_ != start) {
        lastDayStart_ = start;
        lastDay_ = &dailyUsage_[localDayKey(delta.date, calendar_)];
    }
    lastDay_->add(delta.tokens, costUSD);
}

void SessionAggregation::addToolsAndSkills(const CodexUsageReader::VisitedSession& session,
                                           Project& home) {
    const SessionUsageSource& source = session.source;
    const auto lastEvent = session.usage.deltas.empty()
                               ? source.updatedAt
                               : std::optional(session.usage.deltas.back().date);
    home.detail.addToolCalls(session.usage.toolCalls);
    for (const auto& [name, count] : session.usage.toolCalls) {
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
    for (const SkillLoadEvent& load : session.usage.skillLoads) {
        SkillUsageAccumulator& skill = skills_[load.path];
        skill.path = load.path;
        skill.addLoad(source.threadId, load.date);
        breakdown_.addSkill({.id = load.path,
                             .projectID = home.rows.id,
                             .projectName = home.rows.name,
                             .threadID = source.threadId,
                             .at = load.date});
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
    thread.title = CodexUsageReader::normalizedConversationTitle(source.title.value_or(""));
    thread.updatedAt = source.updatedAt;
    thread.model = source.model;
    thread.cwd = source.cwd;
    thread.archived = isArchived(source.rolloutPath);
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
    return threads;
}

}  // namespace vantry
