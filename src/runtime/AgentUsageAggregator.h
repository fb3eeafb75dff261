#pragma once

#include <span>
#include <vector>

#include "records/RuntimeUsageSnapshot.h"

namespace vantry::AgentUsageAggregator {

struct Aggregation {
    Date at;  ///< when the aggregate is made
    /// The aggregate that is shown, or nothing.
    const UsageSnapshot* reusingLocalUsageFrom = nullptr;
};

/// All runtimes in one snapshot, as of `at`. A single runtime's snapshot comes back with all it
/// holds.
///
/// Each official figure, with its capture time and marks, is that of the first runtime that has
/// it; messages stand in runtime order; loading lasts as long as any runtime's does. The task
/// board is that of the only runtime that has one, and absent where several do.
///
/// Local usage is the sum over the runtimes that have it, captured when the oldest part was, stale
/// if any part is, and of the worst status of the parts: a runtime without local usage speaks
/// through its messages, and through its status only where no runtime has local usage. A refresh
/// that has read no local records keeps the local usage of the previous aggregate, with its
/// capture time, mark and status.
UsageSnapshot aggregate(const std::vector<RuntimeUsageSnapshot>& runtimes,
                        const Aggregation& aggregation);

/// Whether no runtime was asked for its local usage while `previous`, which may be null, has some.
/// A read of no runtime at all shows nothing of the ones before.
bool mayReuseLocalAggregate(std::span<const RuntimeUsageSnapshot> incoming,
                            const UsageSnapshot* previous);

}  // namespace vantry::AgentUsageAggregator
