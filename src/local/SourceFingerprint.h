#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "local/SessionBatch.h"

/// Texts that stand for the state of a batch's sources. They are compared with themselves only.
namespace vantry::CodexUsageReader {

/// Size and modification time of each file, in order; "missing" for one that does not exist.
/// Looks at the file system; any thread.
std::string fileFingerprint(const std::vector<std::filesystem::path>& paths);

/// The same of one file, without its time.
std::string fileSizeFingerprint(const std::filesystem::path& path);

/// What is known of each log and of its row, by the path of the log, and the gaps.
std::string sessionSourcesFingerprint(const LoadedSessions& loaded);

}  // namespace vantry::CodexUsageReader
