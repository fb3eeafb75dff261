#pragma once

#include <optional>

#include "local/SessionUsage.h"
#include "platform/FileDescriptor.h"

namespace vantry::CodexUsageReader {

/// What the first header of a log says: a file is its thread, and any later header was copied into
/// it. Nothing for a log without one in its first 2 MiB, or that says no id. Reads the file from
/// its descriptor's position on; any thread.
std::optional<SessionUsageLineage> readSessionUsageLineage(const FileDescriptor& log,
                                                           bool isCompressed);

}  // namespace vantry::CodexUsageReader
