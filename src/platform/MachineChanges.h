#pragma once

#include <filesystem>

#include "platform/FileDescriptor.h"

namespace vantry {

/// A descriptor that becomes readable when an address or a route of the machine changes; closed
/// where the system does not tell.
FileDescriptor openNetworkChanges();

/// Takes what has come off it. Does not block.
void takeNetworkChanges(const FileDescriptor& changes);

/// A descriptor that becomes readable when a file of the folder is replaced or written; closed
/// where there is no such folder.
FileDescriptor openFolderChanges(const std::filesystem::path& folder);

/// Takes what has come off it. Does not block.
void takeFolderChanges(const FileDescriptor& changes);

/// Seconds that the machine has slept since it was started.
double secondsSlept();

}  // namespace vantry
