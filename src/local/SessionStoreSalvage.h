#pragma once

#include <filesystem>

/// What is left of a malformed file of a SessionStore.
namespace vantry::SessionStoreSalvage {

/// Puts `file` aside as "FILE.damaged", or "FILE.damaged2" and so on, with its journals, and a new
/// one in its place that holds the rows of the old one that can be read and have their checksums.
/// Its value `SessionStore::lostValue` is set unless that is all of them.
///
/// The file in place is whole at every moment. False, with everything as it was, where the new one
/// cannot be written, or the old one cannot be read for another reason than damage. The caller
/// holds the lock beside the file. Takes half a minute at most.
bool replace(const std::filesystem::path& file);

}  // namespace vantry::SessionStoreSalvage
