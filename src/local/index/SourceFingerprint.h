#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Texts that stand for the state of files. They are compared with themselves only.
namespace vantry::CodexUsageReader {

/// Size and modification time of each file, in order; "missing" for one that does not exist.
/// Looks at the file system; any thread.
std::string fileFingerprint(const std::vector<std::filesystem::path>& paths);

/// The same of one file, without its time.
std::string fileSizeFingerprint(const std::filesystem::path& path);

}  // namespace vantry::CodexUsageReader
