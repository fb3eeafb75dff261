#include "statistics/ProjectUsageDetailAccumulator.h"

#include <algorithm>
#include <tuple>

#include "platform/Text.h"
#include "records/TokenBreakdown.h"
#include "statistics/StatisticsContext.h"

namespace vantry {

namespace {

constexpr int detailDays = 30;

constexpr std::size_t placeOf(ProjectDetailTimeframe window) {
    return static_cast<std::size_t>(window);
}

// The smallest window that the time lies in; nothing where it counts nowhere.
std::optional<ProjectDetailTimeframe> nearestWindow(std::optional<Date> at,
                                                    const StatisticsWindows& windows) {
    const bool counts = at && *at >= windows.thirtyDayStart && *at < windows.tomorrowStart;
    if (!counts) return std::nullopt;
    if (windows.isToday(*at)) return ProjectDetailTimeframe::today;
    if (*at >= windows.sevenDayStart) return ProjectDetailTimeframe::sevenDays;
    return ProjectDetailTimeframe::thirtyDays;
}

std::vector<ProjectDailyUsageBucket> makeDailyBuckets(
    const std::map<std::string, std::int64_t>& tokensByDayKey, Date dayStart,
    const Calendar& calendar) {
    std::vector<ProjectDailyUsageBucket> buckets;
    for (int back = detailDays - 1; back >= 0; --back) {
        const auto start = calendar.startOfDayAdding(-back, dayStart);
        if (!start) continue;
        std::string key = localDayKey(*start, calendar);
        const auto found = tokensByDayKey.find(key);
        const std::int64_t tokens = found == tokensByDayKey.end() ? 0 : found->second;
        buckets.push_back({.id = std::move(key), .date = *start, .tokens = tokens});
    }
    return buckets;
}

}  // namespace

void ProjectUsageDetailAccumulator::add(const Event& event) {
    const auto window = nearestWindow(event.at, event.windows);
    if (!window) return;
    std::int64_t& tokens = tokensOfDay(*event.at, event.calendar);
    tokens = saturatingAdd(tokens, event.tokens);
    if (lastThread_ == nullptr || lastThread_->first != event.threadID) {
        lastThread_ = &*nearestWindowByThreadID_.try_emplace(event.threadID, *window).first;
    }
    lastThread_->second = std::min(lastThread_->second, *window);
}

std::int64_t& ProjectUsageDetailAccumulator::tokensOfDay(Date date, const Calendar& calendar) {
    const CalendarDay day = calendar.day(date).value_or(CalendarDay{});
    if (lastDayTokens_ == nullptr || day != lastDay_) {
        lastDayTokens_ = &tokensByDayKey_[localDayKey(date, calendar)];
        lastDay_ = day;
    }
    return *lastDayTokens_;
}

void ProjectUsageDetailAccumulator::addToolCalls(
    const std::map<std::string, std::int64_t>& callCounts) {
    for (const auto& [name, count] : callCounts) {
        if (count < 1) continue;
        std::int64_t& calls = toolCallsByName_[name];
        calls = saturatingAdd(calls, count);
    }
}

void ProjectUsageDetailAccumulator::addConversation(const ConversationEvent& event) {
    const auto window = nearestWindow(event.at, event.windows);
    if (!window) return;
    ConversationAccumulator& row = conversation(event).second;
    if (event.title != row.title) {
        const std::string_view title = trimmed(event.title);
        if (!title.empty()) row.title = title;
    }
    row.thirtyDayTokens = saturatingAdd(row.thirtyDayTokens, event.tokens);
    if (*window <= ProjectDetailTimeframe::sevenDays) {
        row.sevenDayTokens = saturatingAdd(row.sevenDayTokens, event.tokens);
    }
    if (*window == ProjectDetailTimeframe::today) {
        row.todayTokens = saturatingAdd(row.todayTokens, event.tokens);
    }
    row.lastActiveAt = std::max(row.lastActiveAt, event.at);
}

ProjectUsageDetailAccumulator::Conversations::value_type&
ProjectUsageDetailAccumulator::conversation(const ConversationEvent& event) {
    if (lastConversation_ == nullptr || lastConversation_->first != event.threadID) {
        const auto [found, isNew] = conversationsByID_.try_emplace(event.threadID);
        if (isNew) found->second.isSubagent = event.isSubagent;
        lastConversation_ = &*found;
    }
    return *lastConversation_;
}

void ProjectUsageDetailAccumulator::settleThreads() {
    for (const auto& [threadID, window] : nearestWindowByThreadID_) {
        ++settledThreads_[placeOf(window)];
    }
    nearestWindowByThreadID_.clear();
    lastThread_ = nullptr;
}

ProjectUsageDetail ProjectUsageDetailAccumulator::makeDetail(Date dayStart,
                                                             const Calendar& calendar) const {
    ProjectUsageDetail detail;
    detail.dailyBuckets = makeDailyBuckets(tokensByDayKey_, dayStart, calendar);
    auto threads = settledThreads_;
    for (const auto& [threadID, window] : nearestWindowByThreadID_) ++threads[placeOf(window)];
    detail.todayThreadCount = threads[placeOf(ProjectDetailTimeframe::today)];
    detail.sevenDayThreadCount =
        detail.todayThreadCount + threads[placeOf(ProjectDetailTimeframe::sevenDays)];
    detail.thirtyDayThreadCount =
        detail.sevenDayThreadCount + threads[placeOf(ProjectDetailTimeframe::thirtyDays)];
    for (const auto& [name, count] : toolCallsByName_) {
        detail.toolUsages.push_back({.id = name, .name = name, .callCount = count});
    }
    // Stable, as are the names of the map: equal counts stay in the order of the names.
    std::ranges::stable_sort(detail.toolUsages, std::greater{}, &ProjectToolUsage::callCount);
    for (const auto& [id, row] : conversationsByID_) {
        if (row.thirtyDayTokens <= 0) continue;
        detail.conversations.push_back({.id = id,
                                        .title = row.title,
                                        .todayTokens = row.todayTokens,
                                        .sevenDayTokens = row.sevenDayTokens,
                                        .thirtyDayTokens = row.thirtyDayTokens,
                                        .lastActiveAt = row.lastActiveAt,
                                        .isSubagent = row.isSubagent});
    }
    // Most tokens first, then the latest; an absent time is less than any, so that it comes last.
    using Row = ProjectConversationUsage;
    std::ranges::sort(detail.conversations, [](const Row& a, const Row& b) {
        return std::tie(b.thirtyDayTokens, b.lastActiveAt, a.id) <
               std::tie(a.thirtyDayTokens, a.lastActiveAt, b.id);
    });
    return detail;
}

}  // namespace vantry
