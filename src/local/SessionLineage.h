#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>

#include "local/SessionUsage.h"

namespace vantry::CodexUsageReader {

/// Where a log's thread comes from, by the header with the thread's own id in the first 2 MiB of
/// the log. Nothing for a log without such a header. Reads the file; any thread.
struct SessionHeaderRequest {
    const std::filesystem::path& log;
    std::optional<std::uint64_t> expectedFileIdentifier;  ///< of the file that was listed
    std::string_view expectedThreadId;
};
std::optional<SessionUsageLineage> readSessionUsageLineage(const SessionHeaderRequest& request);

}  // namespace vantry::CodexUsageReader
