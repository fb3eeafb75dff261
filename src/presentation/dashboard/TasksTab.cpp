#include "presentation/dashboard/TasksTab.h"

#include <fmt/format.h>

#include "presentation/dashboard/CodexSessionOpener.h"
#include "presentation/dashboard/TaskBoardPresentation.h"
#include "presentation/format/TokenFormatter.h"
#include "presentation/words/DashboardWords.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/QuotaWords.h"
#include "presentation/words/TaskBoardWords.h"

namespace vantry {

namespace {

BilingualText meaningOf(TaskColumnKind kind) {
    switch (kind) {
        case TaskColumnKind::active:
            return DashboardWords::recentActivityMeaning;
        case TaskColumnKind::pending:
            return DashboardWords::otherConversationsMeaning;
        case TaskColumnKind::scheduled:
            return DashboardWords::scheduledMeaning;
        case TaskColumnKind::done:
            break;
    }
    return DashboardWords::archivedMeaning;
}

TaskRow rowOf(const TaskItem& item, const Wording& words) {
    TaskRow row{.title = item.title.empty() ? words(DashboardWords::untitled) : item.title,
                .project = item.detail,
                .tokensAreStale = item.tokensAreStale};
    if (item.detail.empty() && item.threadID) row.project = words(unclassifiedProject);
    if (item.updatedAt) row.time = relativeTime(*item.updatedAt, words);
    if (item.tokens) {
        row.tokens =
            words(item.tokensAreStale ? DashboardWords::staleTokens : DashboardWords::todaysTokens,
                  TokenFormatter::format(item.tokens));
    }
    if (CodexSessionOpener::conversationURL(item)) {
        row.open = {.kind = ActionKind::openConversation,
                    .target = *item.threadID,
                    .title = words(DashboardWords::openConversation)};
        row.menu = {row.open,
                    {.kind = ActionKind::copyText,
                     .target = *item.threadID,
                     .title = words(DashboardWords::copyID)},
                    {.kind = ActionKind::copyText,
                     .target = CodexSessionOpener::resumeCommand(*item.threadID),
                     .title = words(DashboardWords::copyResume)}};
    }
    row.tooltip = row.title;
    std::vector<std::string> spoken{row.title};
    for (const std::string* part : {&row.project, &row.time, &row.tokens}) {
        if (!part->empty()) spoken.push_back(*part);
    }
    row.accessibleName = fmt::format("{}", fmt::join(spoken, ", "));
    return row;
}

}  // namespace

std::string relativeTime(Date date, const Wording& words) {
    const double seconds = words.now() - date;
    if (seconds < 0 || seconds >= 86'400) return words.moment(date);
    const auto minutes = static_cast<std::int64_t>(seconds / 60);
    if (minutes < 1) return words(DashboardWords::justNow);
    if (minutes < 60) return words(DashboardWords::minutesAgo, minutes);
    return words(DashboardWords::hoursAgo, minutes / 60);
}

TasksTab tasksTab(const SurfaceInput& input) {
    const Wording words = input.wording();
    const auto& board = input.snapshot().taskBoard;
    if (!board) {
        const bool isReading = input.isFirstRead();
        return {.empty = EmptyPanel{.title = words(isReading ? DashboardWords::tasksReading
                                                             : DashboardWords::tasksUnavailable),
                                    .reason = isReading ? "" : words(QuotaWords::signInAdvice)}};
    }
    TasksTab tab{.provenance = words.provenance(
                     {.source = FigureSource::thisComputer, .capturedAt = board->refreshedAt})};
    for (const TaskColumn& column : TaskBoardPresentation::visibleColumns(board->columns)) {
        TaskColumnView view{.title = words(columnTitle(column.id)),
                            .meaning = words(meaningOf(column.id)),
                            .count = words.digits(column.count)};
        for (const TaskItem& item : column.items) view.rows.push_back(rowOf(item, words));
        if (view.rows.empty()) view.emptyText = words(DashboardWords::noItems);
        tab.columns.push_back(std::move(view));
    }
    return tab;
}

}  // namespace vantry
