#pragma once

#include "runtime/CodexUsageLoad.h"
#include "runtime/RuntimeUsageProvider.h"

namespace vantry {

/// Codex, read on this machine. What must outlive a read lies in caches of the sources: one
/// snapshot is read at a time, from any thread; the task board alone may be read beside it.
class CodexRuntimeProvider : public RuntimeUsageProvider {
  public:
    /// With the real sources, and caches of its own.
    CodexRuntimeProvider();
    explicit CodexRuntimeProvider(CodexUsageReader::ReadSources sources)
        : sources_(std::move(sources)) {}

    RuntimeScope scope() const override { return RuntimeScope::codex; }
    RuntimeUsageSnapshot loadSnapshot(const RuntimeLoadContext& context,
                                      const RuntimeSnapshotLoadOptions& options) const override;
    std::optional<TaskBoard> loadTaskBoard(const RuntimeLoadContext& context) const override;

    /// Grades a snapshot: available with a window of the plan's own kind, else local figures only,
    /// else unavailable. Never stale: that takes an earlier snapshot to compare with.
    static RuntimeUsageSnapshot runtimeSnapshot(UsageSnapshot snapshot);

  private:
    CodexUsageReader::ReadSources sources_;
};

/// The runtime with another local usage: labels and quota, with its capture time and stale mark,
/// stay, and the status is graded anew.
RuntimeUsageSnapshot replacingLocalUsage(const RuntimeUsageSnapshot& runtime,
                                         const LocalUsageReplacement& replacement);

}  // namespace vantry
