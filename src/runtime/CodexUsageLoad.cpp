#include "runtime/CodexUsageLoad.h"

#include "platform/WorkQueue.h"
#include "runtime/ConcurrentValueBox.h"

namespace vantry::CodexUsageReader {

namespace {

void append(std::vector<std::string>& list, const std::vector<std::string>& more) {
    list.insert(list.end(), more.begin(), more.end());
}

// The boxes in which the three tasks leave their results.
struct Boxes {
    ConcurrentValueBox<AppServerRead> appServer;
    ConcurrentValueBox<LocalUsageRead> localUsage;
    ConcurrentValueBox<TaskBoardRead> taskBoard;
};

void fillBoxes(Boxes& boxes, const RuntimeLoadContext& context,
               const RuntimeSnapshotLoadOptions& options, const ReadSources& sources) {
    WorkQueue queue(3);
    TaskGroup group(queue);
    group.submit([&] {
        const AppServerRead read =
            sources.appServer({.search = {.homeDirectory = context.homeDirectory}});
        boxes.appServer.set(read);
        if (options.onQuotaReady) options.onQuotaReady(makeQuotaSnapshot(context, read, true));
    });
    if (auto reusable = reusableLocalUsageResult(options)) {
        boxes.localUsage.set({.result = *std::move(reusable), .messages = {}});
    } else {
        group.submit([&] { boxes.localUsage.set(sources.localUsage(context)); });
    }
    if (options.reuseTaskBoard && options.previousSnapshot && options.previousSnapshot->taskBoard) {
        boxes.taskBoard.set({.board = options.previousSnapshot->taskBoard, .messages = {}});
    } else {
        group.submit([&] { boxes.taskBoard.set(sources.taskBoard(context)); });
    }
    group.wait();
}

}  // namespace

UsageSnapshot load(const RuntimeLoadContext& context, const RuntimeSnapshotLoadOptions& options,
                   const ReadSources& sources) {
    Boxes boxes;
    fillBoxes(boxes, context, options, sources);
    const AppServerRead appServer =
        boxes.appServer.take().value_or(AppServerRead{{}, {"app-server 读取未完成"}});
    const LocalUsageRead localUsage =
        boxes.localUsage.take().value_or(LocalUsageRead{{}, {"本机用量读取未完成"}});
    const TaskBoardRead taskBoard =
        boxes.taskBoard.take().value_or(TaskBoardRead{{}, {"任务看板读取未完成"}});

    UsageSnapshot snapshot = makeQuotaSnapshot(context, appServer, false);
    append(snapshot.messages, localUsage.messages);
    append(snapshot.messages, taskBoard.messages);
    snapshot.local = localUsage.result.local;
    snapshot.localUsageCapturedAt = localUsage.result.capturedAt;
    snapshot.localUsageIsStale = localUsage.result.isStale;
    snapshot.localUsageReadStatus = localUsage.result.readStatus;
    snapshot.localReadMessages = localUsage.messages;
    snapshot.readerState.localDependencyFailure = localUsage.result.dependencyFailure;
    snapshot.taskBoard = taskBoard.board;
    if (snapshot.local) snapshot.bindTaskBoardTokens();
    return snapshot;
}

std::optional<LocalUsageReadResult> reusableLocalUsageResult(
    const RuntimeSnapshotLoadOptions& options) {
    if (!options.reuseLocalUsage || !options.previousSnapshot) return std::nullopt;
    const UsageSnapshot& previous = *options.previousSnapshot;
    if (previous.localUsageIsStale || previous.cloudDailyUsageIsStale || !previous.local) {
        return std::nullopt;
    }
    return LocalUsageReadResult{.local = previous.local,
                                .capturedAt = previous.localUsageCapturedAt,
                                .isStale = false,
                                .readStatus = previous.localUsageReadStatus,
                                .dependencyFailure = previous.readerState.localDependencyFailure};
}

UsageSnapshot makeQuotaSnapshot(const RuntimeLoadContext& context, const AppServerRead& appServer,
                                bool isLoadingLocalUsage) {
    const AppServerSnapshot& official = appServer.snapshot;
    return {.refreshedAt = context.now,
            .account = official.account,
            .accountIdentity = official.accountIdentity,
            .primary = official.primary,
            .secondary = official.secondary,
            .credits = official.credits,
            .officialLifetimeTokens = official.officialLifetimeTokens,
            .officialLifetimeCapturedAt = official.officialLifetimeCapturedAt,
            .officialLifetimeIsStale = official.officialLifetimeIsStale,
            .officialUsageReadStatus = official.officialUsageReadStatus,
            .cloudDailyBuckets = official.cloudDailyBuckets,
            .cloudDailyUsageAttempted = official.cloudDailyUsageAttempted,
            .cloudDailyUsageCapturedAt = official.cloudDailyUsageCapturedAt,
            .cloudDailyUsageIsStale = official.cloudDailyUsageIsStale,
            .messages = appServer.messages,
            .readerState = {.isLoading = isLoadingLocalUsage, .appServer = official.readState}};
}

UsageSnapshot loadQuota(const RuntimeLoadContext& context, const QuotaRequest& request) {
    const AppServerRead read = readAppServer({.executablePath = request.executablePath,
                                              .search = {.homeDirectory = context.homeDirectory},
                                              .responseTimeout = request.responseTimeout,
                                              .requestedResponseIDs = {2, 3}});
    return makeQuotaSnapshot(context, read, false);
}

}  // namespace vantry::CodexUsageReader
