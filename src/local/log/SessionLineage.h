#pragma once

#include <optional>
#include <string_view>

#include "local/log/SessionUsage.h"
#include "platform/FileDescriptor.h"
#include "platform/JsonReader.h"

namespace vantry::CodexUsageReader {

/// The first header among lines of a log.
struct SessionHeader {
    bool isThere = false;
    std::optional<SessionUsageLineage> lineage;  ///< nothing where it is torn or says no id
};

/// The first header among the finished lines of `bytes`.
SessionHeader sessionHeaderAmong(std::string_view bytes, JsonParser& parser);

/// What the first header of a log says: a file is its thread, and any later header was copied into
/// it. Nothing for a log without one in its first 2 MiB, or that says no id. Reads the file from
/// its descriptor's position on; any thread.
std::optional<SessionUsageLineage> readSessionUsageLineage(const FileDescriptor& log,
                                                           bool isCompressed);

}  // namespace vantry::CodexUsageReader
