#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "runtime/RuntimeProviderRegistry.h"

namespace vantry {

/// Reads every registered runtime and joins them. The reads block; not on the main thread.
class MultiRuntimeUsageReader {
  public:
    struct LoadRequest {
        std::uint64_t generation = 0;  ///< of the statistics zone; returned with the result
        std::vector<RuntimeUsageSnapshot> previousRuntimes;
        /// Asked once a runtime, as `RuntimeSnapshotLoadOptions` says.
        std::function<UnchangedSources(RuntimeScope)> findUnchanged;
        /// Called on a worker thread, once a runtime, as soon as its quota is known.
        std::function<void(const RuntimeUsageSnapshot&)> onQuotaReady;
    };

    explicit MultiRuntimeUsageReader(RuntimeProviderRegistry registry = RuntimeProviderRegistry())
        : registry_(std::move(registry)) {}

    /// One read, at this moment and in the user's directories.
    MultiRuntimeUsageSnapshot load(const StatisticsTimeZonePreference& statisticsPreference,
                                   const LoadRequest& request) const;

    /// One read in a context of the caller's: the providers in registry order, one after another.
    MultiRuntimeUsageSnapshot load(const RuntimeLoadContext& context,
                                   const LoadRequest& request) const;

    /// The task board of one runtime; nothing for one that is not registered.
    std::optional<TaskBoard> loadTaskBoard(
        RuntimeScope scope, const StatisticsTimeZonePreference& statisticsPreference) const;
    std::optional<TaskBoard> loadTaskBoard(RuntimeScope scope,
                                           const RuntimeLoadContext& context) const;

  private:
    RuntimeProviderRegistry registry_;
};

}  // namespace vantry
