#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>

#include "platform/FileDescriptor.h"

/// Opens files that belong to another program, which can change them, replace them or turn them
/// into something else at any moment.
namespace vantry::RegularFileReader {

struct Request {
    std::filesystem::path path;
    /// The inode number seen when the file was listed: a file that has since taken its place under
    /// the same name is refused.
    std::optional<std::uint64_t> expectedFileIdentifier = std::nullopt;
    std::optional<std::int64_t> minimumSize = std::nullopt;  ///< bytes
};

/// A read-only descriptor on a regular file that meets the request. Empty for everything else, a
/// symbolic link in the last component included. Never blocks, not even on a FIFO.
std::optional<FileDescriptor> open(const Request& request);

/// Reads on from the file's position, at most as much as `buffer` holds. The number of bytes read,
/// 0 at the end of the file; empty on an error.
std::optional<std::size_t> read(const FileDescriptor& file, std::span<char> buffer);

/// Reads on until the buffer is full. False on an error, and where the file ends before.
bool readExactly(const FileDescriptor& file, std::span<char> buffer);

}  // namespace vantry::RegularFileReader
