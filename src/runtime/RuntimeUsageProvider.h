#pragma once

#include <functional>
#include <optional>

#include "records/RuntimeUsageSnapshot.h"
#include "statistics/RuntimeLoadContext.h"

namespace vantry {

/// How one runtime is to be read.
struct RuntimeSnapshotLoadOptions {
    std::optional<UsageSnapshot> previousSnapshot;
    /// The caller has proved that the local sources are unchanged.
    bool reuseLocalUsage = false;
    /// The same for the sources of the task board.
    bool reuseTaskBoard = false;
    /// Called once, on a worker thread, as soon as the account session has ended.
    std::function<void(const UsageSnapshot&)> onQuotaReady;

    static RuntimeSnapshotLoadOptions full() { return {}; }
};

/// Where the usage of one runtime comes from. The two reads block; any thread but the main one.
class RuntimeUsageProvider {
  public:
    virtual ~RuntimeUsageProvider() = default;

    virtual RuntimeScope scope() const = 0;
    virtual RuntimeUsageSnapshot loadSnapshot(const RuntimeLoadContext& context,
                                              const RuntimeSnapshotLoadOptions& options) const = 0;
    virtual std::optional<TaskBoard> loadTaskBoard(const RuntimeLoadContext& context) const = 0;
};

}  // namespace vantry
