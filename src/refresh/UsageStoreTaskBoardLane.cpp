#include "refresh/UsageStore.h"

namespace vantry {

struct UsageStore::TaskBoardReadRequest {
    RuntimeLoadContext context;
    UsageSnapshot shown;  ///< of which only the board is there
    UsageStoreSources::Fingerprint lastFingerprint;
};

struct UsageStore::BoardRead {
    bool isUnchanged = false;  ///< and nothing was read
    UsageStoreSources::Fingerprint fingerprint;
    std::optional<TaskBoard> board;
};

void UsageStore::refreshTaskBoard(LaneRequest request) {
    if (!mayStart(PendingRefreshWork::taskBoard, request)) return;
    const ReadTicket ticket = beginRead(PendingRefreshWork::taskBoard);
    TaskBoardReadRequest read{.context = ticket.context,
                              .lastFingerprint = fingerprints_.taskBoard};
    if (codex() != nullptr) read.shown.taskBoard = codex()->snapshot.taskBoard;
    readInBackground([read = std::move(read)](
                         const UsageStoreSources& sources) { return readBoard(sources, read); },
                     BoardRead{}, &UsageStore::finishTaskBoardRead, ticket);
}

UsageStore::BoardRead UsageStore::readBoard(const UsageStoreSources& sources,
                                            const TaskBoardReadRequest& request) {
    BoardRead read{.fingerprint = sources.taskBoardFingerprint(request.context)};
    read.isUnchanged = isTaskBoardUnchanged({.current = read.fingerprint,
                                             .previous = request.lastFingerprint,
                                             .shown = request.shown,
                                             .now = request.context.now});
    if (!read.isUnchanged) read.board = sources.loadTaskBoard(request.context);
    return read;
}

void UsageStore::finishTaskBoardRead(const ReadTicket& ticket, const BoardRead& read) {
    if (!acceptsResult(ticket, ticket.identity()) || !read.board) return;
    applyTaskBoard(*read.board, RuntimeScope::codex);
    if (read.fingerprint) fingerprints_.taskBoard = read.fingerprint;
}

}  // namespace vantry
