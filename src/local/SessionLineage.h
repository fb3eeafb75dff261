#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "local/SessionUsage.h"

namespace vantry::CodexUsageReader {

/// Where a log's thread comes from, by the header with the thread's own id in the first 2 MiB of
/// the log. Nothing for a log without such a header. Reads the file; any thread.
std::optional<SessionUsageLineage> readSessionUsageLineage(const std::filesystem::path& log,
                                                           std::string_view expectedThreadId);

}  // namespace vantry::CodexUsageReader
