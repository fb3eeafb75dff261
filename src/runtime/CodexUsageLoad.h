#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "local/analytics/LocalUsageReader.h"
#include "local/board/TaskBoardReader.h"
#include "official/AppServerSession.h"
#include "runtime/RuntimeUsageProvider.h"

/// One read of Codex: the account session, the local records and the task board, side by side.
namespace vantry::CodexUsageReader {

/// The three sources of a read. They run at the same time on threads of their own. One that is not
/// named has nothing.
struct ReadSources {
    std::function<AppServerRead(const AppServerRequest&)> appServer = [](const auto&) {
        return AppServerRead{};
    };
    std::function<LocalUsageRead(const RuntimeLoadContext&)> localUsage = [](const auto&) {
        return LocalUsageRead{};
    };
    std::function<TaskBoardRead(const RuntimeLoadContext&)> taskBoard = [](const auto&) {
        return TaskBoardRead{};
    };

    /// The real ones. What outlives a read lies in `caches`.
    static ReadSources real(std::shared_ptr<ReaderCaches> caches);
};

/// Reads all three and joins them. No source's failure stops another: each becomes a status and
/// messages. `options.onQuotaReady` is called on a worker thread before this returns, while the
/// other two may still be reading. Blocks as long as the slowest source; not on the main thread.
UsageSnapshot load(const RuntimeLoadContext& context, const RuntimeSnapshotLoadOptions& options,
                   const ReadSources& sources);

/// The local usage that may be taken over from the previous snapshot where its sources are
/// unchanged: only one that is of the same statistics day, and neither stale itself nor mixed with
/// stale official days.
std::optional<LocalUsageReadResult> reusableLocalUsageResult(const RuntimeLoadContext& context,
                                                             const UsageSnapshot& previous);

/// The account's side of a snapshot, with nothing local in it.
struct QuotaSnapshotParts {
    const RuntimeLoadContext& context;
    const AppServerRead& appServer;
    bool isLoadingLocalUsage = false;
};
UsageSnapshot makeQuotaSnapshot(const QuotaSnapshotParts& parts);

/// The quota-only refresh: account and quota, no usage history. Blocks for at most
/// `responseTimeout` seconds and half a second more.
struct QuotaRequest {
    std::optional<std::filesystem::path> executablePath;
    double responseTimeout = 30;
};
UsageSnapshot loadQuota(const RuntimeLoadContext& context, const QuotaRequest& quota = {});

}  // namespace vantry::CodexUsageReader
