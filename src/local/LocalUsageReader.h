#pragma once

#include <string>
#include <vector>

#include "records/LocalUsage.h"
#include "statistics/RuntimeLoadContext.h"

namespace vantry::CodexUsageReader {

/// A read of the local records with the words for its user.
struct LocalUsageRead {
    LocalUsageReadResult result;
    std::vector<std::string> messages;
};

/// What Codex's records on this machine say. This build does not read them: the status is
/// notAttempted, and there is no figure.
LocalUsageRead readLocalUsage(const RuntimeLoadContext& context);

}  // namespace vantry::CodexUsageReader
