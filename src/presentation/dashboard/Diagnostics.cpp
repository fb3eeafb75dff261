#include "presentation/dashboard/Diagnostics.h"

#include <algorithm>
#include <optional>

#include "presentation/dashboard/ProjectDetailPanel.h"
#include "presentation/words/DiagnosticsWords.h"
#include "presentation/words/SettingsWords.h"

namespace vantry {

namespace {

namespace Words = DiagnosticsWords;

/// A failure in words, and where its repair begins.
struct Failure {
    BilingualText title;
    BilingualText advice;
    bool concernsSettings = false;
};

/// Nothing for what only says that earlier figures are shown: its cause is named beside it.
std::optional<Failure> failureOf(NoticeKind kind) {
    switch (kind) {
        case NoticeKind::codexMissing:
            return Failure{Words::codexNotFound, Words::installCodex, true};
        case NoticeKind::chosenCodexNotRunnable:
            return Failure{Words::codexExecutableNotFound, Words::installCodex, true};
        case NoticeKind::sqliteMissing:
            return Failure{Words::sqliteNotFound, Words::installSqlite};
        case NoticeKind::databaseMissing:
            return Failure{Words::localDatabaseNotFound, Words::completeOneSession, true};
        case NoticeKind::sessionLogsMissing:
            return Failure{Words::sessionLogsNotFound, Words::completeOneSession};
        case NoticeKind::tokenEventsMissing:
        case NoticeKind::sessionDetailsMissing:
            return Failure{Words::tokenEventsNotFound, Words::completeOneSession};
        case NoticeKind::taskBoardSourceMissing:
            return Failure{Words::taskBoardSourceNotFound, Words::completeOneSession};
        case NoticeKind::databaseQueryFailed:
        case NoticeKind::taskBoardQueryFailed:
            return Failure{Words::queryFailed, Words::databaseAdvice};
        case NoticeKind::databaseDataMalformed:
            return Failure{Words::databaseMalformed, Words::databaseAdvice};
        case NoticeKind::appServerNotStarted:
        case NoticeKind::appServerRequestNotWritten:
            return Failure{Words::appServerNotStarted, Words::checkSignIn};
        case NoticeKind::appServerEndedEarly:
            return Failure{Words::appServerEnded, Words::checkSignIn};
        case NoticeKind::appServerTimedOut:
            return Failure{Words::appServerTimedOut, Words::laterRead};
        case NoticeKind::appServerOutputExceeded:
            return Failure{Words::appServerOutput, Words::laterRead};
        case NoticeKind::appServerRefusedRequest:
        case NoticeKind::appServerRefused:
        case NoticeKind::accountChanged:
            return Failure{Words::accountUnavailable, Words::checkSignIn};
        case NoticeKind::officialDaysMalformed:
        case NoticeKind::officialLifetimeMalformed:
            return Failure{Words::officialDaysMalformed, Words::laterRead};
        case NoticeKind::accountReadUnfinished:
        case NoticeKind::localReadUnfinished:
        case NoticeKind::taskBoardReadUnfinished:
        case NoticeKind::mergedTokensOverflow:
            return Failure{Words::unknownError, Words::laterRead};
        case NoticeKind::readBegins:
        case NoticeKind::runtimeLeftOut:
        case NoticeKind::quotaIsStale:
        case NoticeKind::officialDaysAreStale:
        case NoticeKind::officialDaysUnavailable:
        case NoticeKind::officialDaysWithoutToday:
        case NoticeKind::sessionLogsWaitStale:
        case NoticeKind::sessionLogsWait:
        case NoticeKind::eventsAheadIgnored:
            break;
    }
    return std::nullopt;
}

DiagnosticItem itemOf(const LocalUsageGap& gap, const SurfaceInput& input, const Wording& words) {
    constexpr std::size_t mostPaths = 20;
    DiagnosticItem item{.title = words(Words::gapTitle(gap.kind), words.digits(gap.count)),
                        .advice = words(gap.kind == LocalUsageGapKind::goneLog ? Words::gonePresence
                                                                               : Words::gapAdvice)};
    for (const std::string& path : gap.paths) {
        if (item.paths.size() == mostPaths) break;
        item.paths.push_back(projectPath(path, input.machine));
    }
    if (gap.paths.size() > mostPaths) {
        item.morePaths = words(Words::morePaths, gap.paths.size() - mostPaths);
    }
    return item;
}

}  // namespace

std::vector<DiagnosticItem> environmentDiagnostics(const SurfaceInput& input) {
    std::vector<DiagnosticItem> items;
    if (input.isFirstRead()) return items;
    const Wording words = input.wording();
    const auto add = [&](const Failure& failure) {
        const std::string title = words(failure.title);
        if (std::ranges::find(items, title, &DiagnosticItem::title) != items.end()) return;
        DiagnosticItem item{.title = title, .advice = words(failure.advice)};
        if (failure.concernsSettings) {
            item.action = {.kind = ActionKind::openSettings,
                           .target = "data",
                           .title = words(SettingsWords::title)};
        }
        items.push_back(std::move(item));
    };
    const UsageSnapshot& snapshot = input.snapshot();
    for (const Notice& notice : snapshot.messages) {
        if (const auto failure = failureOf(notice.kind)) add(*failure);
    }
    // A state without a notice of its own.
    const ReaderControlState& reader = snapshot.readerState;
    if (reader.appServer == AppServerReadState::executableMissing) {
        if (!isSaid(snapshot.messages, NoticeKind::chosenCodexNotRunnable)) {
            add(*failureOf(NoticeKind::codexMissing));
        }
    } else if (reader.appServer == AppServerReadState::failed && items.empty()) {
        add(*failureOf(NoticeKind::appServerRefused));
    }
    if (snapshot.local) {
        for (const LocalUsageGap& gap : snapshot.local->gaps.list) {
            items.push_back(itemOf(gap, input, words));
        }
    }
    return items;
}

}  // namespace vantry
