#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <sys/types.h>

#include "local/cache/SessionStore.h"
#include "platform/Database.h"

/// The file of a SessionStore: opened, made, and replaced where it is malformed.
namespace vantry::SessionStoreFile {

/// Which file lies in a place.
struct Identity {
    dev_t device = 0;
    ino_t number = 0;

    friend bool operator==(const Identity&, const Identity&) = default;
};

/// Nothing where no regular file is.
std::optional<Identity> identityOf(const std::filesystem::path& file);

/// How long a call waits for locks in all.
inline constexpr auto lockPatience = std::chrono::seconds(2);

struct OpenRequest {
    std::filesystem::path file;
    std::optional<Identity> damaged;  ///< found malformed; another file is in order
};

struct Opened {
    Database database;  ///< open when the access is writable or readOnly
    SessionStore::Access access = SessionStore::Access::unavailable;
    Identity identity;
};

/// Opens, makes and replaces one after the other with every other process that does. Blocks for
/// three seconds at most, and for half a minute where a malformed file is read for what is left.
Opened open(const OpenRequest& request);

/// Makes the tables in a database that has none. The generation begins anywhere, so that no file is
/// taken for one that lay there before.
DatabaseResult makeTables(Database& database);

std::int64_t checksumOf(const StoredSession& session);
enum class Kind : std::uint8_t { events, share, value };
/// `name` is the id of a part, or the key of a value.
std::int64_t checksumOf(Kind kind, std::string_view name, std::string_view bytes);
std::int64_t checksumOf(Kind kind, std::int64_t id, std::string_view bytes);

}  // namespace vantry::SessionStoreFile
