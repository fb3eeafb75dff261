#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "official/AppServerSnapshot.h"

/// Who is signed in while the service cannot be asked: nobody else than at the last read that
/// learned it, for as long as Codex's `auth.json` is the very file that it was then. The file is
/// looked at and never opened.
namespace vantry::SignIn {

/// What changes whenever a file is written or replaced.
struct FileMark {
    std::int64_t device = 0;
    std::int64_t inode = 0;
    std::int64_t size = 0;
    std::int64_t modificationTimeNanoseconds = 0;

    friend bool operator==(const FileMark&, const FileMark&) = default;
};

/// That of `auth.json` in Codex's home; nothing where there is none, as with a key store.
std::optional<FileMark> markOf(const std::filesystem::path& codexHome);

/// A session with the service, and the marks of just before and just after it.
struct Session {
    AppServerSnapshot& snapshot;  ///< changed in place
    const std::filesystem::path& cacheDirectory;
    std::optional<FileMark> before;
    std::optional<FileMark> after;
};

/// Keeps the identity that a session learned, where nothing moved meanwhile; gives a session that
/// learned none the one that is kept for the same mark. A session that met two accounts stays
/// without. Blocks for a small file; a file that cannot be read or written is none.
void settleIdentity(const Session& session);

}  // namespace vantry::SignIn
