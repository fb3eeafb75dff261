#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace vantry {

/// The contents of a regular file of at most `maxByteCount` bytes. Empty for a larger file, one
/// that grows past the limit while it is read, anything that is not a regular file, a symbolic
/// link included, a failed read, or a negative limit.
std::optional<std::string> boundedCacheData(const std::filesystem::path& path,
                                            std::int64_t maxByteCount);

}  // namespace vantry
