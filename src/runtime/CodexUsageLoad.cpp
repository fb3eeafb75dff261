#include "runtime/CodexUsageLoad.h"

#include <algorithm>
#include <exception>
#include <system_error>

#include "diagnostics/ReaderPerformanceTrace.h"
#include "official/HybridDailyUsage.h"
#include "official/KeptQuota.h"
#include "official/OfficialDailyUsageCache.h"
#include "official/SignIn.h"
#include "platform/UserDirectories.h"
#include "platform/WorkQueue.h"
#include "runtime/ConcurrentValueBox.h"

namespace vantry::CodexUsageReader {

namespace {

void append(Notices& list, const Notices& more) {
    list.insert(list.end(), more.begin(), more.end());
}

// The boxes in which the three tasks leave their results.
struct Boxes {
    ConcurrentValueBox<AppServerRead> appServer;
    ConcurrentValueBox<LocalUsageRead> localUsage;
    ConcurrentValueBox<TaskBoardRead> taskBoard;
};

// A home of the caller's choice has an account of its own, so the child is given that home too, and
// the folders that are read in place of any that the environment names.
AppServerRequest requestFor(const RuntimeLoadContext& context) {
    AppServerRequest request{
        .now = context.now,
        .search = {.homeDirectory = context.homeDirectory, .chosenProgram = context.chosenCodex},
        .cancellation = context.cancellation};
    if (context.homeDirectory != UserDirectories::realHome()) {
        request.environment.emplace_back("HOME", context.homeDirectory.string());
    }
    const CodexFolders codex = context.codex();
    const auto replace = [&](const char* variable, const std::filesystem::path& folder) {
        if (processEnvironment(variable).value_or("").empty()) return;
        request.environment.emplace_back(variable, folder.string());
    };
    replace("CODEX_HOME", codex.home);
    replace("CODEX_SQLITE_HOME", codex.databases);
    return request;
}

// The account's side, with whoever is known to be signed in where the service did not say.
AppServerRead readAccount(const std::function<AppServerRead(const AppServerRequest&)>& read,
                          const AppServerRequest& request, const RuntimeLoadContext& context) {
    const std::filesystem::path codexHome = context.codex().home;
    const auto before = SignIn::markOf(codexHome);
    AppServerRead account = read(request);
    SignIn::settleIdentity({.snapshot = account.snapshot,
                            .cacheDirectory = context.cacheDirectory,
                            .before = before,
                            .after = SignIn::markOf(codexHome)});
    if (account.snapshot.readState == AppServerReadState::responded) {
        keepQuota(context.cacheDirectory, account.snapshot, context.now);
    }
    return account;
}

void fillBoxes(Boxes& boxes, const RuntimeLoadContext& context,
               const RuntimeSnapshotLoadOptions& options, const ReadSources& sources) {
    WorkQueue queue(3);
    TaskGroup group(queue);
    group.submit([&] {
        const AppServerRead read = readAccount(sources.appServer, requestFor(context), context);
        boxes.appServer.set(read);
        if (options.onQuotaReady)
            options.onQuotaReady(makeQuotaSnapshot(
                {.context = context, .appServer = read, .isLoadingLocalUsage = true}));
    });
    // What is unchanged has to be known before the rest is read, and may take seconds to find out.
    group.submit([&] {
        const auto unchanged = options.findUnchanged ? options.findUnchanged() : UnchangedSources{};
        const auto& previous = options.previousSnapshot;
        if (unchanged.taskBoard && previous && previous->taskBoard) {
            boxes.taskBoard.set({.board = previous->taskBoard, .messages = {}});
        } else {
            group.submit([&] { boxes.taskBoard.set(sources.taskBoard(context)); });
        }
        auto reusable = unchanged.localUsage && previous
                            ? reusableLocalUsageResult(context, *previous)
                            : std::nullopt;
        if (reusable) {
            boxes.localUsage.set({.result = *std::move(reusable), .messages = {}});
        } else {
            boxes.localUsage.set(sources.localUsage(context));
        }
    });
    group.wait();
}

bool holdsOfficialDays(const LocalUsageReadResult& result) {
    return result.local && result.local->usageTrend &&
           result.local->usageTrend->sourceQuality != UsageSourceQuality::detailed;
}

LocalUsageRead readLocalAgain(const RuntimeLoadContext& context, const ReadSources& sources) {
    try {
        return sources.localUsage(context);
    } catch (const std::exception&) {
        return {{}, {{NoticeKind::localReadUnfinished}}};
    }
}

// The official days of this session, or the last complete ones of the same account.
void settleOfficialDays(AppServerSnapshot& official, const RuntimeLoadContext& context,
                        const RuntimeSnapshotLoadOptions& options, Notices& messages) {
    resolveOfficialDailyUsagePersistence(
        {.snapshot = official, .previousSnapshot = options.previousSnapshot, .context = context});
    const Notice stale{NoticeKind::officialDaysAreStale};
    if (official.cloudDailyUsageIsStale && std::ranges::find(messages, stale) == messages.end()) {
        messages.push_back(stale);
    }
}

}  // namespace

ReadSources ReadSources::real(std::shared_ptr<ReaderCaches> caches) {
    return {.appServer = readAppServer,
            .localUsage =
                [caches = std::move(caches)](const RuntimeLoadContext& context) {
                    return readLocalUsage({.context = context, .userCodex = context.userCodex()},
                                          *caches);
                },
            .taskBoard = [](const RuntimeLoadContext& context) { return readTaskBoard(context); }};
}

UsageSnapshot load(const RuntimeLoadContext& context, const RuntimeSnapshotLoadOptions& options,
                   const ReadSources& sources) {
    ReaderPerformanceTrace trace;
    Boxes boxes;
    try {
        fillBoxes(boxes, context, options, sources);
    } catch (const std::system_error&) {
        // No thread could be had; what is missing is told below.
    }
    trace.checkpoint("sources");
    AppServerRead appServer =
        boxes.appServer.take().value_or(AppServerRead{{}, {{NoticeKind::accountReadUnfinished}}});
    LocalUsageRead localUsage =
        boxes.localUsage.take().value_or(LocalUsageRead{{}, {{NoticeKind::localReadUnfinished}}});
    TaskBoardRead taskBoard =
        boxes.taskBoard.take().value_or(TaskBoardRead{{}, {{NoticeKind::taskBoardReadUnfinished}}});

    append(appServer.messages, localUsage.messages);
    append(appServer.messages, taskBoard.messages);
    settleOfficialDays(appServer.snapshot, context, options, appServer.messages);

    UsageSnapshot snapshot = makeQuotaSnapshot(
        {.context = context, .appServer = appServer, .isLoadingLocalUsage = false});
    if (!snapshot.cloudDailyBuckets && holdsOfficialDays(localUsage.result)) {
        // The days of a reused batch were somebody's, and nobody stands for them now.
        localUsage = readLocalAgain(context, sources);
        snapshot.messages.insert(snapshot.messages.end(), localUsage.messages.begin(),
                                 localUsage.messages.end());
    }
    if (localUsage.result.local) {
        auto hybrid = mergeCloudDailyUsage({.cloudDailyBuckets = snapshot.cloudDailyBuckets,
                                            .into = *std::move(localUsage.result.local),
                                            .context = context});
        snapshot.local = std::move(hybrid.local);
        snapshot.hybridReadMessages = std::move(hybrid.messages);
        append(snapshot.messages, snapshot.hybridReadMessages);
    }
    snapshot.localUsageCapturedAt = localUsage.result.capturedAt;
    snapshot.localUsageIsStale = localUsage.result.isStale;
    snapshot.localUsageReadStatus = localUsage.result.readStatus;
    snapshot.localReadMessages = std::move(localUsage.messages);
    snapshot.readerState.localDependencyFailure = localUsage.result.dependencyFailure;
    snapshot.taskBoard = std::move(taskBoard.board);
    if (snapshot.local) snapshot.bindTaskBoardTokens();
    trace.finish("load");
    return snapshot;
}

std::optional<LocalUsageReadResult> reusableLocalUsageResult(const RuntimeLoadContext& context,
                                                             const UsageSnapshot& previous) {
    const auto& capturedAt = previous.localUsageCapturedAt;
    if (capturedAt &&
        context.statistics.dayKey(*capturedAt) != context.statistics.currentDayKey()) {
        return std::nullopt;
    }
    if (previous.localUsageIsStale || previous.cloudDailyUsageIsStale || !previous.local) {
        return std::nullopt;
    }
    return LocalUsageReadResult{.local = previous.local,
                                .capturedAt = previous.localUsageCapturedAt,
                                .isStale = false,
                                .readStatus = previous.localUsageReadStatus,
                                .dependencyFailure = previous.readerState.localDependencyFailure};
}

UsageSnapshot makeQuotaSnapshot(const QuotaSnapshotParts& parts) {
    const AppServerSnapshot& official = parts.appServer.snapshot;
    return {
        .refreshedAt = parts.context.now,
        .account = official.account,
        .accountIdentity = official.accountIdentity,
        .primary = official.primary,
        .secondary = official.secondary,
        .credits = official.credits,
        .limits = official.limits,
        .officialLifetimeTokens = official.officialLifetimeTokens,
        .officialLifetimeCapturedAt = official.officialLifetimeCapturedAt,
        .officialLifetimeIsStale = official.officialLifetimeIsStale,
        .officialUsageReadStatus = official.officialUsageReadStatus,
        .cloudDailyBuckets = official.cloudDailyBuckets,
        .cloudDailyUsageAttempted = official.cloudDailyUsageAttempted,
        .cloudDailyUsageCapturedAt = official.cloudDailyUsageCapturedAt,
        .cloudDailyUsageIsStale = official.cloudDailyUsageIsStale,
        .messages = parts.appServer.messages,
        .readerState = {.isLoading = parts.isLoadingLocalUsage, .appServer = official.readState}};
}

UsageSnapshot loadQuota(const RuntimeLoadContext& context, const QuotaRequest& quota) {
    AppServerRequest request = requestFor(context);
    request.executablePath = quota.executablePath;
    request.responseTimeout = quota.responseTimeout;
    request.requestedResponseIDs = {2, 3};
    return makeQuotaSnapshot({.context = context,
                              .appServer = readAccount(readAppServer, request, context),
                              .isLoadingLocalUsage = false});
}

}  // namespace vantry::CodexUsageReader
