#include "local/cache/SessionStoreFile.h"

#include <array>
#include <bit>
#include <fcntl.h>
#include <fmt/format.h>
#include <iterator>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <utility>

#include "diagnostics/DebugLog.h"
#include "local/cache/SessionStoreReplacement.h"
#include "platform/AtomicFile.h"
#include "platform/Checksum.h"

namespace vantry::SessionStoreFile {

namespace {

namespace fs = std::filesystem;
using Access = SessionStore::Access;
using Result = DatabaseResult;

/// "VTRY": tells our databases from other programs'.
constexpr std::int64_t applicationId = 0x56545259;

/// Step n makes format n + 1 of format n.
constexpr std::array steps{
    "CREATE TABLE state(id INTEGER PRIMARY KEY, generation INTEGER NOT NULL,"
    " last_id INTEGER NOT NULL);"
    "INSERT INTO state VALUES(1, random() & 0x3fffffffffffffff, 0);"
    "CREATE TABLE log(id INTEGER PRIMARY KEY, home BLOB NOT NULL, path BLOB NOT NULL,"
    " is_gone INTEGER NOT NULL, checksum INTEGER NOT NULL, head BLOB NOT NULL);"
    "CREATE UNIQUE INDEX log_place ON log(home, path) WHERE is_gone = 0;"
    "CREATE TABLE events(id INTEGER PRIMARY KEY, checksum INTEGER NOT NULL, bytes BLOB NOT NULL);"
    "CREATE TABLE share(id INTEGER PRIMARY KEY, checksum INTEGER NOT NULL, bytes BLOB NOT NULL);"
    "CREATE TABLE value(id INTEGER PRIMARY KEY, key BLOB NOT NULL UNIQUE,"
    " checksum INTEGER NOT NULL, bytes BLOB NOT NULL);"};
constexpr std::int64_t format = std::ssize(steps);
constexpr std::int64_t tableCount = 5;

/// Where processes of several machines may share a file, or a mapping of it may not be shared,
/// there is no write-ahead log. Numbers that linux/magic.h lacks are the kernel's own as well.
bool hasSharedMemory(const fs::path& folder) {
    struct statfs system {};
    if (::statfs(folder.c_str(), &system) != 0) return false;
    switch (static_cast<std::uint32_t>(system.f_type)) {
        case 0x6969:      // NFS
        case 0x517B:      // SMB
        case 0xFF534D42:  // CIFS
        case 0xFE534D42:  // SMB 2
        case 0x01021997:  // 9p
        case 0x65735546:  // FUSE
        case 0x5346414F:  // AFS
        case 0x73757245:  // Coda
        case 0x00C36400:  // Ceph
        case 0x0BD00BD0:  // Lustre
        case 0x47504653:  // GPFS
        case 0x01161970:  // GFS2
        case 0x7461636F:  // OCFS2
        case 0x786F4256:  // VirtualBox
            return false;
        default:
            return true;
    }
}

void makeFolder(const fs::path& folder) {
    std::error_code error;
    if (folder.empty() || fs::exists(folder, error)) return;
    makeFolder(folder.parent_path());
    ::mkdir(folder.c_str(), 0700);
}

bool mayWriteIn(const fs::path& folder) {
    const char* const name = folder.empty() ? "." : folder.c_str();
    return ::faccessat(AT_FDCWD, name, W_OK | X_OK, AT_EACCESS) == 0;
}

bool isFilled(const fs::path& file) {
    struct stat status {};
    return ::stat(file.c_str(), &status) == 0 && status.st_size > 0;
}

struct Form {
    Result result = Result::done;
    std::int64_t application = 0;
    std::int64_t version = 0;
    std::int64_t tables = 0;

    bool isEmpty() const { return application == 0 && version == 0 && tables == 0; }
};

/// As one state of the file, outside of a transaction of the caller.
Form formOf(Database& database) {
    Form form{.result = database.run("BEGIN")};
    for (const auto& [question, answer] :
         {std::pair{"PRAGMA application_id", &form.application},
          {"PRAGMA user_version", &form.version},
          {"SELECT count(*) FROM sqlite_master WHERE type = 'table'", &form.tables}}) {
        if (isFailure(form.result)) break;
        const Database::Answer said = database.ask(question);
        form.result = said.result;
        *answer = said.number;
    }
    if (database.isInTransaction()) database.run("ROLLBACK");
    return form;
}

/// From whatever format, in one transaction; another process may have been faster.
Result migrate(Database& database) {
    Result result = database.run("BEGIN IMMEDIATE");
    if (isFailure(result)) return result;
    const Database::Answer version = database.ask("PRAGMA user_version");
    result = version.result;
    for (std::int64_t i = version.number; i < format && !isFailure(result); ++i) {
        result = database.run(steps[static_cast<std::size_t>(i)]);
    }
    const std::string names =
        fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}", applicationId, format);
    if (!isFailure(result)) result = database.run(names.c_str());
    if (!isFailure(result)) result = database.run("COMMIT");
    if (database.isInTransaction()) database.run("ROLLBACK");
    return result;
}

/// An existing file may be of the other kind. One that others use stays of its kind for now.
Result chooseJournal(Database& database, bool isShared) {
    Database::Answer mode = database.ask("PRAGMA journal_mode");
    if (isFailure(mode.result)) return mode.result;
    if (isShared && mode.text != "wal") mode = database.ask("PRAGMA journal_mode = WAL");
    if (!isShared || mode.text != "wal") {
        mode = database.ask("PRAGMA journal_mode = TRUNCATE");
        // The lock that stood for the shared memory goes with the next read.
        if (!isFailure(mode.result)) database.run("PRAGMA locking_mode = NORMAL");
        if (!isFailure(mode.result)) mode.result = database.ask("PRAGMA user_version").result;
    }
    if (mode.result == Result::damaged) return mode.result;
    // A write-ahead log is whole after a crash even unsynchronised, without the last commits.
    return database.run(mode.text == "wal" ? "PRAGMA synchronous = NORMAL"
                                           : "PRAGMA synchronous = FULL");
}

/// A transaction of any size takes 8 MiB of memory: what is more goes to disk before its end.
/// Freed rows are wiped where that costs no write of its own.
Result configure(Database& database) {
    return database.run("PRAGMA cache_size = -8192; PRAGMA secure_delete = FAST");
}

struct Attempt {
    Result result = Result::other;
    Access access = Access::unavailable;
};

/// What the open database is, made ready for use.
Attempt judge(Database& database, const fs::path& file, bool mayMake) {
    const bool isShared = hasSharedMemory(file.parent_path().empty() ? "." : file.parent_path());
    const bool isWritable = mayMake && !database.isReadOnly();
    // Without shared memory a write-ahead log can be read by one process alone.
    if (!isShared && isWritable) database.run("PRAGMA locking_mode = EXCLUSIVE");
    const Form form = formOf(database);
    if (isFailure(form.result)) return {.result = form.result};
    if (!form.isEmpty() && form.application != applicationId) return {.result = Result::other};
    if (form.version > format) return {.result = Result::done, .access = Access::newer};
    Result result = Result::done;
    if (isWritable) result = chooseJournal(database, isShared);
    if (form.version < format && !isFailure(result)) {
        result = isWritable ? migrate(database) : Result::readOnly;
    } else if (form.tables != tableCount && !isFailure(result)) {
        result = Result::damaged;  // tables are made in one transaction with the numbers
    }
    if (!isFailure(result)) result = configure(database);
    if (isFailure(result)) return {.result = result};
    return {.result = result, .access = isWritable ? Access::writable : Access::readOnly};
}

Attempt attach(Opened& opened, const fs::path& file, bool mayMake) {
    if (!identityOf(file)) {
        if (!mayMake) return {};
        // Left by a file that is gone; they would be taken for this one's.
        for (const char* const ending : {"-wal", "-shm", "-journal"}) {
            ::unlink((file.native() + ending).c_str());
        }
        ::mknod(file.c_str(), S_IFREG | 0600, 0);
    }
    Database& database = opened.database;
    database.waitForLocksUntil(Database::Clock::now() + lockPatience);
    Attempt attempt{.result = database.open(file, Database::Opening::writable)};
    if (!isFailure(attempt.result)) attempt = judge(database, file, mayMake);
    const bool isRefused = attempt.result == Result::io || attempt.result == Result::readOnly;
    if (isRefused && !mayWriteIn(file.parent_path()) && !isFilled(file.native() + "-wal") &&
        !isFilled(file.native() + "-journal")) {
        // The memory that readers share cannot be made there, and nothing waits in a journal.
        attempt = {.result = database.open(file, Database::Opening::unchangeable)};
        if (!isFailure(attempt.result)) attempt = judge(database, file, false);
    }
    return attempt;
}

std::uint64_t seedOf(Kind kind) {
    return static_cast<std::uint64_t>(kind) + 2;
}

}  // namespace

std::optional<Identity> identityOf(const fs::path& file) {
    struct stat status {};
    if (::stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return Identity{.device = status.st_dev, .number = status.st_ino};
}

DatabaseResult makeTables(Database& database) {
    return migrate(database);
}

Opened open(const OpenRequest& request) {
    const fs::path& file = request.file;
    Opened opened;
    if (file.empty()) return opened;
    makeFolder(file.parent_path());
    const FileDescriptor lock = lockBeside(file);
    const bool mayMake = lock.isOpen() && mayWriteIn(file.parent_path());
    bool isDamaged = request.damaged && identityOf(file) == request.damaged;
    Attempt attempt;
    for (int count = 0; count < 2; ++count) {
        if (isDamaged && !(mayMake && replaceMalformed(file))) break;
        attempt = attach(opened, file, mayMake);
        isDamaged = attempt.result == Result::damaged;
        if (!isDamaged) break;
        opened.database.close();
    }
    if (isFailure(attempt.result)) {
        debugLog(fmt::format("session store: cannot be opened: {}: {}", nameOf(attempt.result),
                             opened.database.message()));
    }
    const std::optional<Identity> identity = identityOf(file);
    opened.access = identity ? attempt.access : Access::unavailable;
    opened.identity = identity.value_or(Identity{});
    if (opened.access != Access::writable && opened.access != Access::readOnly) {
        opened.database.close();
    }
    return opened;
}

std::int64_t checksumOf(const StoredSession& session) {
    const std::uint64_t seed =
        2 * static_cast<std::uint64_t>(session.id) + (session.isGone ? 1 : 0);
    return std::bit_cast<std::int64_t>(checksum(seed, {session.home, session.path, session.head}));
}

std::int64_t checksumOf(Kind kind, std::string_view name, std::string_view bytes) {
    return std::bit_cast<std::int64_t>(checksum(seedOf(kind), {name, bytes}));
}

std::int64_t checksumOf(Kind kind, std::int64_t id, std::string_view bytes) {
    const std::uint64_t seed =
        4 * static_cast<std::uint64_t>(id) + static_cast<std::uint64_t>(kind);
    return std::bit_cast<std::int64_t>(checksum(seed, {bytes}));
}

}  // namespace vantry::SessionStoreFile
