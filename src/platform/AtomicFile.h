#pragma once

#include <filesystem>
#include <string_view>
#include <sys/types.h>
#include <system_error>

#include "platform/FileDescriptor.h"

namespace vantry {

/// Replaces the file at `path` by one that holds exactly `bytes`, with permissions `mode`.
///
/// The bytes go to a temporary file beside the target, are synchronised to disk and renamed over
/// it, so that a reader, or a crash, sees the old file or the new one and never a part. On an
/// error the old file stands and the temporary file is removed. The directory must exist.
/// Any thread; two writers of one path leave the file of one of them.
///
/// A temporary file is called PATH.replacing-XXXXXX and is locked as long as its writer lives. What
/// a writer left that was killed is removed by the next one of the same path.
std::error_code replaceFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                                      mode_t mode = 0600);

/// A lock of all processes that is named after `file` and held as long as the descriptor is open.
/// Closed where another writer has not let go of it within a second. Blocks that long at most.
FileDescriptor lockBeside(const std::filesystem::path& file);

}  // namespace vantry
