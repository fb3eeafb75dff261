#include "runtime/CodexRuntimeProvider.h"

#include "official/QuotaWindow.h"

namespace vantry {

namespace {

RuntimeMenuStatus grade(const UsageSnapshot& snapshot) {
    if (selectedQuotaWindow(snapshot).window) return RuntimeMenuStatus::available;
    return snapshot.local ? RuntimeMenuStatus::localOnly : RuntimeMenuStatus::unavailable;
}

}  // namespace

CodexRuntimeProvider::CodexRuntimeProvider()
    : CodexRuntimeProvider(CodexUsageReader::ReadSources::real(std::make_shared<ReaderCaches>())) {}

RuntimeUsageSnapshot CodexRuntimeProvider::loadSnapshot(
    const RuntimeLoadContext& context, const RuntimeSnapshotLoadOptions& options) const {
    return runtimeSnapshot(CodexUsageReader::load(context, options, sources_));
}

std::optional<TaskBoard> CodexRuntimeProvider::loadTaskBoard(
    const RuntimeLoadContext& context) const {
    return sources_.taskBoard(context).board;
}

RuntimeUsageSnapshot CodexRuntimeProvider::runtimeSnapshot(UsageSnapshot snapshot) {
    RuntimeUsageSnapshot runtime{.scope = RuntimeScope::codex,
                                 .snapshot = std::move(snapshot),
                                 .quotaSourceLabel = "Codex app-server + local records",
                                 .usageSourceLabel = "Codex local state"};
    runtime.status = grade(runtime.snapshot);
    runtime.quotaCapturedAt = RuntimeUsageSnapshot::defaultQuotaCapturedAt(runtime.snapshot);
    return runtime;
}

RuntimeUsageSnapshot replacingLocalUsage(const RuntimeUsageSnapshot& runtime,
                                         const LocalUsageReplacement& replacement) {
    RuntimeUsageSnapshot result = runtime;
    result.snapshot = runtime.snapshot.replacingLocalUsage(replacement);
    result.status = grade(result.snapshot);
    const bool quotaStaysStale =
        runtime.status == RuntimeMenuStatus::stale && result.status == RuntimeMenuStatus::available;
    if (quotaStaysStale) result.status = RuntimeMenuStatus::stale;
    return result;
}

}  // namespace vantry
