#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantry {

/// What a read has to say beside its figures: what went wrong, or what stands in for what is
/// missing. Whoever decides something looks at the kind; the words are the presentation's.
enum class NoticeKind : std::uint8_t {
    readBegins,      ///< nothing was read yet
    runtimeLeftOut,  ///< the user's filter leaves nothing to read
    accountReadUnfinished,
    localReadUnfinished,
    taskBoardReadUnfinished,

    codexMissing,
    chosenCodexNotRunnable,  ///< the program that the user named
    appServerNotStarted,
    appServerRequestNotWritten,
    appServerEndedEarly,
    appServerTimedOut,
    appServerOutputExceeded,
    appServerRefusedRequest,  ///< `count` is the request's number, `quoted` what the service said
    appServerRefused,         ///< no quota came, for all that was answered
    accountChanged,

    quotaIsStale,
    officialDaysAreStale,
    officialDaysUnavailable,
    officialDaysMalformed,
    officialDaysWithoutToday,
    officialLifetimeMalformed,
    mergedTokensOverflow,

    databaseMissing,
    sqliteMissing,
    databaseQueryFailed,
    databaseDataMalformed,
    sessionLogsMissing,
    tokenEventsMissing,
    sessionDetailsMissing,
    sessionLogsWaitStale,  ///< `count` logs cannot be read now; earlier figures are shown
    sessionLogsWait,       ///< likewise, without earlier figures
    eventsAheadIgnored,    ///< `count` events are later than the read

    taskBoardSourceMissing,
    taskBoardQueryFailed,
};

struct Notice {
    NoticeKind kind = NoticeKind::readBegins;
    std::int64_t count = 0;             ///< as the kind says
    std::optional<std::string> quoted;  ///< the service's own words, which can be anything

    friend bool operator==(const Notice&, const Notice&) = default;
};

using Notices = std::vector<Notice>;

inline bool isSaid(const Notices& notices, NoticeKind kind) {
    return std::ranges::find(notices, kind, &Notice::kind) != notices.end();
}

}  // namespace vantry
