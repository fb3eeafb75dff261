#pragma once

#include <functional>
#include <optional>

#include "records/RuntimeUsageSnapshot.h"
#include "statistics/RuntimeLoadContext.h"

namespace vantry {

/// The sources that the caller has proved to be unchanged since the previous snapshot.
struct UnchangedSources {
    bool localUsage = false;
    bool taskBoard = false;
};

/// How one runtime is to be read.
struct RuntimeSnapshotLoadOptions {
    std::optional<UsageSnapshot> previousSnapshot;
    /// Asked once, on a worker thread, before anything local is read. The account waits for no
    /// answer, so the proof may take its time. Without it everything is read.
    std::function<UnchangedSources()> findUnchanged;
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
