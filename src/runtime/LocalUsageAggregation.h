#pragma once

#include "records/LocalUsage.h"
#include "runtime/ProjectAggregation.h"

namespace vantry::AgentUsageAggregator {

/// The local usage of several runtimes as one; a single one comes back as it is.
///
/// Token sums stop at the limits of 64 bits. What some runtimes do not know is the sum over those
/// that do, and absent when none does. Threads, tools and Skills that several runtimes name are
/// one row each.
///
/// Trends are added day by day, and absent where they do not cover the same days: one that was
/// made on another day, or in another zone, has other bounds of its weeks and months. Model
/// usage is absent where the time zones differ or a sum overflows, since it never shows a number
/// that is not exact; its capture time is the oldest.
LocalUsage aggregateLocalUsage(const Parts<LocalUsage>& usages);

}  // namespace vantry::AgentUsageAggregator
