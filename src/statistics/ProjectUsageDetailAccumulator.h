#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/Calendar.h"
#include "records/Projects.h"
#include "statistics/ProjectTimeframe.h"
#include "statistics/StatisticsWindows.h"

namespace vantry {

/// Gathers one project's detail from its token events: thirty days of tokens, the threads of three
/// windows, tool calls and conversations.
///
/// Events of one thread, one day or one conversation in a row cost a few comparisons and no
/// allocation; any order gives the same result. An event without a time, before the thirty days, or
/// after today counts nowhere. One thread; stays where it was made, for it remembers places in its
/// own maps.
class ProjectUsageDetailAccumulator {
  public:
    ProjectUsageDetailAccumulator() = default;
    ProjectUsageDetailAccumulator(const ProjectUsageDetailAccumulator&) = delete;
    ProjectUsageDetailAccumulator& operator=(const ProjectUsageDetailAccumulator&) = delete;

    struct Event {
        const std::string& threadID;
        std::int64_t tokens = 0;
        std::optional<Date> at;
        const StatisticsWindows& windows;
        const Calendar& calendar;  ///< in the zone of the windows
    };
    void add(const Event& event);

    /// Call counts by tool; those below 1 are ignored.
    void addToolCalls(const std::map<std::string, std::int64_t>& callCounts);

    struct ConversationEvent {
        const std::string& threadID;
        const std::string& title;  ///< the newest that is not blank is kept
        bool isSubagent = false;   ///< counts at the first sight of the thread
        std::int64_t tokens = 0;
        std::optional<Date> at;
        const StatisticsWindows& windows;
    };
    void addConversation(const ConversationEvent& event);

    /// The detail with the thirty days that end with the one that begins at `dayStart`. A
    /// conversation is listed if it used tokens in these days.
    ProjectUsageDetail makeDetail(Date dayStart, const Calendar& calendar) const;

    /// Leaves the threads so far as numbers, as they are stored: none of them may come again.
    void settleThreads();

    /// Of a conversation all but its id, which is the key.
    struct ConversationAccumulator {
        std::string title;
        std::int64_t todayTokens = 0;
        std::int64_t sevenDayTokens = 0;
        std::int64_t thirtyDayTokens = 0;
        std::optional<Date> lastActiveAt;
        bool isSubagent = false;
    };

  private:
    friend struct RecordFields<ProjectUsageDetailAccumulator>;
    using Conversations = std::map<std::string, ConversationAccumulator>;

    std::int64_t& tokensOfDay(Date date, const Calendar& calendar);
    Conversations::value_type& conversation(const ConversationEvent& event);

    std::map<std::string, std::int64_t> tokensByDayKey_;
    std::map<std::string, ProjectDetailTimeframe> nearestWindowByThreadID_;
    std::array<std::int64_t, 3> settledThreads_{};  ///< by their nearest window
    std::map<std::string, std::int64_t> toolCallsByName_;
    Conversations conversationsByID_;

    // Where the event before went, which is mostly where the next one goes.
    CalendarDay lastDay_;
    std::int64_t* lastDayTokens_ = nullptr;
    std::pair<const std::string, ProjectDetailTimeframe>* lastThread_ = nullptr;
    Conversations::value_type* lastConversation_ = nullptr;
};

template <>
struct RecordFields<ProjectUsageDetailAccumulator::ConversationAccumulator> {
    using Conversation = ProjectUsageDetailAccumulator::ConversationAccumulator;
    static constexpr std::tuple list{field("title", &Conversation::title),
                                     field("todayTokens", &Conversation::todayTokens),
                                     field("sevenDayTokens", &Conversation::sevenDayTokens),
                                     field("thirtyDayTokens", &Conversation::thirtyDayTokens),
                                     field("lastActiveAt", &Conversation::lastActiveAt),
                                     field("isSubagent", &Conversation::isSubagent)};
};

template <>
struct RecordFields<ProjectUsageDetailAccumulator> {
    using Detail = ProjectUsageDetailAccumulator;
    static constexpr std::tuple list{field("tokensByDayKey", &Detail::tokensByDayKey_),
                                     field("settledThreads", &Detail::settledThreads_),
                                     field("toolCallsByName", &Detail::toolCallsByName_),
                                     field("conversations", &Detail::conversationsByID_)};
};

}  // namespace vantry
