#pragma once

#include <vector>

#include "records/RuntimeUsageSnapshot.h"

namespace vantry::AgentUsageAggregator {

/// All runtimes in one snapshot, as of `at`: each official figure from the first runtime that has
/// it, messages in runtime order, loading as long as any runtime is. Local usage and task board
/// are those of the only runtime that has them, and absent where several do.
UsageSnapshot aggregate(const std::vector<RuntimeUsageSnapshot>& runtimes, Date at);

}  // namespace vantry::AgentUsageAggregator
