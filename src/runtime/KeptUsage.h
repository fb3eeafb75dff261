#pragma once

#include <optional>

#include "records/RuntimeUsageSnapshot.h"
#include "statistics/RuntimeLoadContext.h"

namespace vantry::CodexUsageReader {

/// The last good figures, from what earlier reads kept, all marked stale and each with its own
/// time: those of the logs if they are of the context's day and zone, and quota and days of the
/// account if whoever was signed in still is, by the proof that official/SignIn knows. Nothing
/// where nothing is kept. No child is started. Blocks for some small files. Any thread.
std::optional<RuntimeUsageSnapshot> loadKept(const RuntimeLoadContext& context);

}  // namespace vantry::CodexUsageReader
