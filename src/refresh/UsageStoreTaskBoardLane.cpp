#include "refresh/RefreshSourceReusePolicies.h"
#include "refresh/UsageStore.h"

namespace vantry {

struct UsageStore::TaskBoardReadRequest {
    RuntimeLoadContext context;
    std::optional<TaskBoard> shown;
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
                              .lastFingerprint = lastTaskBoardSourceFingerprint_};
    if (codex() != nullptr) read.shown = codex()->snapshot.taskBoard;
    readInBackground([read = std::move(read)](
                         const UsageStoreSources& sources) { return readBoard(sources, read); },
                     [ticket](UsageStore& store, const BoardRead& result) {
                         store.finishTaskBoardRead(ticket, result);
                     });
}

UsageStore::BoardRead UsageStore::readBoard(const UsageStoreSources& sources,
                                            const TaskBoardReadRequest& request) {
    BoardRead read{.fingerprint = sources.taskBoardFingerprint(request.context)};
    read.isUnchanged = RefreshSourceFingerprintReusePolicy::matches(
                           {.current = read.fingerprint, .previous = request.lastFingerprint}) &&
                       TaskBoardSourceReusePolicy::mayReuse(request.shown, request.context.now);
    if (!read.isUnchanged) read.board = sources.loadTaskBoard(request.context);
    return read;
}

void UsageStore::finishTaskBoardRead(const ReadTicket& ticket, const BoardRead& read) {
    if (!acceptsResult(ticket, ticket.identity()) || !read.board) return;
    applyTaskBoard(*read.board, RuntimeScope::codex);
    if (read.fingerprint) lastTaskBoardSourceFingerprint_ = read.fingerprint;
}

}  // namespace vantry
