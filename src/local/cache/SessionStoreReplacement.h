#pragma once

#include <filesystem>

namespace vantry::SessionStoreFile {

/// Puts `file` aside as "FILE.damaged", or "FILE.damaged2" and so on, with its journals, and a new
/// one in its place that holds what can be read of the old one. Its value `SessionStore::lostValue`
/// is set unless that is all.
///
/// A file is in place at every moment. False, with the old one there, where the new one cannot be
/// written, or the old one cannot be read for another reason than damage. The caller holds the lock
/// beside the file. Takes half a minute at most, and the time to copy the file.
bool replaceMalformed(const std::filesystem::path& file);

}  // namespace vantry::SessionStoreFile
