#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "local/SessionUsageDeduplicator.h"

/// Texts that stand for the state of a batch's sources. They are compared with themselves only.
namespace vantry::CodexUsageReader {

/// Size and modification time of each file, in order; "missing" for one that does not exist.
/// Looks at the file system; any thread.
std::string fileFingerprint(const std::vector<std::filesystem::path>& paths);

/// The same of one file, without its time.
std::string fileSizeFingerprint(const std::filesystem::path& path);

/// Each session's row and what is known of its log, by the path of the log.
std::string sessionSourcesFingerprint(const std::vector<LoadedSessionUsage>& sessions);

}  // namespace vantry::CodexUsageReader
