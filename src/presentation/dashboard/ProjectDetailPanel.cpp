#include "presentation/dashboard/ProjectDetailPanel.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "platform/Text.h"
#include "presentation/dashboard/CodexSessionOpener.h"
#include "presentation/format/TokenFormatter.h"
#include "presentation/words/DashboardWords.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/TaskBoardWords.h"
#include "presentation/words/TimeWords.h"
#include "presentation/words/UsageCardWords.h"
#include "records/TokenBreakdown.h"

namespace vantry {

namespace {

constexpr std::size_t mostConversations = 20;

/// A time frame with its words and its part of the detail.
struct Frame {
    ProjectDetailTimeframe timeframe;
    BilingualText title;
    std::size_t days;
    std::int64_t ProjectUsageDetail::*threads;
    std::int64_t ProjectConversationUsage::*tokens;
};

constexpr std::array frames{
    Frame{ProjectDetailTimeframe::today, DashboardWords::today, 1,
          &ProjectUsageDetail::todayThreadCount, &ProjectConversationUsage::todayTokens},
    Frame{ProjectDetailTimeframe::sevenDays, DashboardWords::sevenDays, 7,
          &ProjectUsageDetail::sevenDayThreadCount, &ProjectConversationUsage::sevenDayTokens},
    Frame{ProjectDetailTimeframe::thirtyDays, DashboardWords::thirtyDays, 30,
          &ProjectUsageDetail::thirtyDayThreadCount, &ProjectConversationUsage::thirtyDayTokens}};

class PanelMaker {
  public:
    PanelMaker(const SurfaceInput& input, const ProjectUsage& project)
        : input_(input), project_(project), words_(input.wording()) {}

    ProjectDetailPanel panel() {
        panel_.name = projectName(project_.name, words_);
        panel_.path = projectPath(project_.fullPath, input_.machine);
        panel_.trendTitle = words_(DashboardWords::thirtyDayTrend);
        panel_.conversationsTitle = words_(DashboardWords::conversations);
        panel_.toolsTitle = words_(DashboardWords::tools);
        panel_.basis = words_(DashboardWords::projectEventAttribution);
        panel_.badge = words_(DashboardWords::localBadge);
        panel_.back = {.kind = ActionKind::closeProject,
                       .title = words_(DashboardWords::backToRanking)};
        const Frame& frame =
            *std::ranges::find(frames, input_.navigation.projectDetailTimeframe, &Frame::timeframe);
        for (const Frame& each : frames) {
            panel_.timeframes.push_back({.title = words_(each.title),
                                         .isSelected = &each == &frame,
                                         .action = {.kind = ActionKind::selectDetailTimeframe,
                                                    .target = std::string(rawText(each.timeframe)),
                                                    .title = words_(each.title)}});
        }
        panel_.tokens.label = words_(frame.title);
        const auto& board = input_.local()->projectBoard;
        const auto detail = board->detailsByProjectID.find(project_.id);
        if (detail == board->detailsByProjectID.end()) {
            panel_.empty = {words_(DashboardWords::projectDetailsUnavailable),
                            words_(FigureWords::notKnownHere)};
        } else {
            show(detail->second, frame);
        }
        panel_.accessibleName =
            fmt::format("{}, {}, {}", panel_.name, panel_.tokens.value, panel_.basis);
        return std::move(panel_);
    }

  private:
    void show(const ProjectUsageDetail& detail, const Frame& frame) {
        std::int64_t total = 0;
        const std::size_t count = detail.dailyBuckets.size();
        for (std::size_t i = 0; i < count; ++i) {
            const ProjectDailyUsageBucket& bucket = detail.dailyBuckets[i];
            const bool isInTimeframe = count - i <= frame.days;
            if (isInTimeframe) total = saturatingAdd(total, bucket.tokens);
            panel_.bars.push_back(
                {.id = bucket.id,
                 .tokens = bucket.tokens,
                 .isToday = words_.calendar().day(bucket.date) == words_.calendar().day(input_.now),
                 .isInTimeframe = isInTimeframe,
                 .tooltip = words_(UsageCardWords::dayTokens,
                                   words_.formatted(bucket.date, TimeWords::longDay),
                                   TokenFormatter::format(bucket.tokens))});
        }
        panel_.tokens = {.label = panel_.tokens.label,
                         .value = TokenFormatter::format(total),
                         .tooltip = words_(FigureWords::tokens, words_.digits(total)),
                         .provenance = words_.provenance(input_.localOrigin()),
                         .accessibleName = words_(FigureWords::spoken, panel_.tokens.label,
                                                  TokenFormatter::format(total)),
                         .isAvailable = true,
                         .isStale = input_.localOrigin().isStale};
        panel_.conversationCount = words_.counted(detail.*frame.threads, FigureWords::conversation,
                                                  FigureWords::conversations);
        addConversations(detail, frame, total);
        for (const ProjectToolUsage& tool : detail.toolUsages) {
            panel_.tools.push_back(
                {.name = validUtf8(tool.name), .value = words_.digits(tool.callCount)});
        }
    }

    void addConversations(const ProjectUsageDetail& detail, const Frame& frame,
                          std::int64_t total) {
        std::vector<const ProjectConversationUsage*> rows;
        for (const ProjectConversationUsage& conversation : detail.conversations) {
            if (conversation.*frame.tokens > 0) rows.push_back(&conversation);
        }
        std::ranges::stable_sort(rows, std::ranges::greater{},
                                 [&](const auto* row) { return row->*frame.tokens; });
        if (rows.size() > mostConversations) rows.resize(mostConversations);
        std::int64_t rest = total;
        for (const ProjectConversationUsage* conversation : rows) {
            const std::int64_t tokens = conversation->*frame.tokens;
            rest -= std::min(tokens, rest);
            ProjectDetailRow row{.name = conversation->title.empty()
                                             ? words_(DashboardWords::untitled)
                                             : conversation->title,
                                 .value = TokenFormatter::format(tokens)};
            if (conversation->isSubagent) row.badge = words_(DashboardWords::subagent);
            if (CodexSessionOpener::url(conversation->id)) {
                row.open = {.kind = ActionKind::openConversation,
                            .target = conversation->id,
                            .title = words_(DashboardWords::openConversation)};
            }
            row.tooltip = words_(FigureWords::spoken, row.name,
                                 words_(FigureWords::tokens, words_.digits(tokens)));
            panel_.conversations.push_back(std::move(row));
        }
        if (rest > 0) {
            panel_.conversations.push_back({.name = words_(DashboardWords::otherSessions),
                                            .value = TokenFormatter::format(rest)});
        }
    }

    const SurfaceInput& input_;
    const ProjectUsage& project_;
    Wording words_;
    ProjectDetailPanel panel_;
};

}  // namespace

ProjectDetailPanel projectDetailPanel(const SurfaceInput& input, const ProjectUsage& project) {
    return PanelMaker(input, project).panel();
}

std::string projectName(const std::string& name, const Wording& words) {
    return name.empty() ? words(unclassifiedProject) : validUtf8(name);
}

std::string projectPath(const std::string& path, const MachineFacts& machine) {
    const std::string& home = machine.homeDirectory;
    if (!home.empty() && path == home) return "~";
    if (!home.empty() && path.starts_with(home + "/")) {
        return validUtf8("~" + path.substr(home.size()));
    }
    return validUtf8(path);
}

}  // namespace vantry
