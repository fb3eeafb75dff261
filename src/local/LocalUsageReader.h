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

/// Reads what Codex's records on this machine say. They are not read yet: the result says so and
/// holds no figure.
LocalUsageRead readLocalUsage(const RuntimeLoadContext& context);

}  // namespace vantry::CodexUsageReader
