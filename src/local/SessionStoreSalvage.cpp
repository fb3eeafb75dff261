#include "local/SessionStoreSalvage.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <fcntl.h>
#include <fmt/format.h>
#include <limits>
#include <numeric>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "diagnostics/DebugLog.h"
#include "local/SessionStore.h"
#include "local/SessionStoreFile.h"
#include "platform/Database.h"
#include "platform/FileDescriptor.h"

namespace vantry::SessionStoreSalvage {

namespace {

namespace fs = std::filesystem;
using Result = DatabaseResult;
using SessionStoreFile::checksumOf;
using SessionStoreFile::Kind;

constexpr auto patience = std::chrono::seconds(20);
constexpr int mostFailedSeeks = 20'000;
constexpr std::array journals{"-wal", "-journal"};

bool exists(const std::string& file) {
    struct stat status {};
    return ::lstat(file.c_str(), &status) == 0;
}

/// Of a table: how it is walked, and how a row is written.
struct Table {
    std::optional<Kind> kind;  ///< none: the table of logs
    const char* forward;
    const char* backward;
    const char* write;
};

// A part without its log could never be erased.
constexpr std::array tables{
    Table{.kind = std::nullopt,
          .forward = "SELECT id, home, path, is_gone, checksum, head FROM log NOT INDEXED"
                     " WHERE id BETWEEN ?1 AND ?2 ORDER BY id",
          .backward = "SELECT id, home, path, is_gone, checksum, head FROM log NOT INDEXED"
                      " WHERE id BETWEEN ?1 AND ?2 ORDER BY id DESC",
          .write = "INSERT OR IGNORE INTO log(id, home, path, is_gone, checksum, head)"
                   " VALUES(?1, ?2, ?3, ?4, ?5, ?6)"},
    Table{
        .kind = Kind::events,
        .forward = "SELECT id, checksum, bytes FROM events WHERE id BETWEEN ?1 AND ?2 ORDER BY id",
        .backward = "SELECT id, checksum, bytes FROM events WHERE id BETWEEN ?1 AND ?2"
                    " ORDER BY id DESC",
        .write = "INSERT OR IGNORE INTO events(id, checksum, bytes) SELECT ?1, ?2, ?3"
                 " WHERE EXISTS(SELECT 1 FROM log WHERE id = ?1)"},
    Table{.kind = Kind::share,
          .forward = "SELECT id, checksum, bytes FROM share WHERE id BETWEEN ?1 AND ?2 ORDER BY id",
          .backward = "SELECT id, checksum, bytes FROM share WHERE id BETWEEN ?1 AND ?2"
                      " ORDER BY id DESC",
          .write = "INSERT OR IGNORE INTO share(id, checksum, bytes) SELECT ?1, ?2, ?3"
                   " WHERE EXISTS(SELECT 1 FROM log WHERE id = ?1)"},
    Table{.kind = Kind::value,
          .forward = "SELECT id, checksum, bytes, key FROM value NOT INDEXED"
                     " WHERE id BETWEEN ?1 AND ?2 ORDER BY id",
          .backward = "SELECT id, checksum, bytes, key FROM value NOT INDEXED"
                      " WHERE id BETWEEN ?1 AND ?2 ORDER BY id DESC",
          .write = "INSERT OR IGNORE INTO value(id, checksum, bytes, key) VALUES(?1, ?2, ?3, ?4)"}};

/// Takes over what can be read of one database into another.
class Salvage {
  public:
    Salvage(Database& source, Database& target) : source_(source), target_(target) {}

    /// False where the target cannot be written, or damage is not what is wrong with the source.
    bool run() {
        source_.stopAt(deadline_);
        const Database::Answer last = source_.ask("SELECT last_id FROM state WHERE id = 1");
        // Wrong where the table is damaged; ids that were taken over are above it then.
        const bool isKnown = last.result == Result::row && last.number >= 0;
        if (!isKnown) note(last.result == Result::row ? Result::damaged : last.result);
        highest_ = isKnown ? last.number : 0;
        for (const Table& table : tables) {
            walk(table);
            if (isAborted_) return false;
        }
        DatabaseStatement& state = target_.statement("UPDATE state SET last_id = ?1 WHERE id = 1");
        return !isFailure(state.bind(1, highest_).run());
    }

    bool isComplete() const { return isComplete_; }

  private:
    struct Range {
        std::int64_t first;
        std::int64_t last;
        bool isEmpty() const { return first > last; }
    };

    /// What fails is stepped over: from the beginning to the damage, from the end back to it, and
    /// what lies between in halves, the largest first.
    void walk(const Table& table) {
        constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
        constexpr std::int64_t top = std::numeric_limits<std::int64_t>::max();
        if (!source_.statement(table.forward).isPrepared()) {
            note(source_.statement(table.forward).step());
            return;
        }
        std::deque<Range> ranges;
        const auto split = [&](Range range) {
            const std::int64_t middle = std::midpoint(range.first, range.last);
            for (const Range half : {Range{range.first, middle}, Range{middle + 1, range.last}}) {
                if (!half.isEmpty()) ranges.push_back(half);
            }
        };
        Range rest = walkBothWays(table, {lowest, top});
        // Between unreadable ends, ids are near those that were given out.
        rest = {std::max<std::int64_t>(rest.first, 1), std::min(rest.last, highestGuess())};
        if (!rest.isEmpty()) ranges.push_back(rest);
        for (int seeks = 0; !ranges.empty() && seeks < mostFailedSeeks; ++seeks) {
            if (isAborted_ || Database::Clock::now() >= deadline_) return;
            const Range range = ranges.front();
            ranges.pop_front();
            const Range left = walkBothWays(table, range);
            if (!left.isEmpty() && range.first != range.last) split(left);
        }
    }

    std::int64_t highestGuess() const {
        constexpr std::int64_t withoutAnyHint = 1 << 16;
        return highest_ > 0 ? highest_ : withoutAnyHint;
    }

    /// What could not be read.
    Range walkBothWays(const Table& table, Range range) {
        Range left = range;
        if (walkOneWay(table, left, true)) return {1, 0};
        walkOneWay(table, left, false);
        return left;
    }

    /// True when the end was reached; else `range` is what is left.
    bool walkOneWay(const Table& table, Range& range, bool isForward) {
        if (range.isEmpty()) return true;
        DatabaseStatement& rows = source_.statement(isForward ? table.forward : table.backward);
        rows.bind(1, range.first).bind(2, range.last);
        Result result = Result::row;
        while (!isAborted_ && (result = rows.step()) == Result::row) {
            const std::int64_t id = rows.number(0);
            if (id < range.first || id > range.last) {
                result = Result::damaged;  // a page that is out of order could be walked forever
                break;
            }
            takeOver(table, rows, id);
            const bool isLast = isForward ? id == range.last : id == range.first;
            if (isLast) range = {1, 0};
            if (isLast) break;
            (isForward ? range.first : range.last) = isForward ? id + 1 : id - 1;
        }
        rows.reset();
        if (isFailure(result)) note(result);
        return !isFailure(result);
    }

    void takeOver(const Table& table, DatabaseStatement& row, std::int64_t id) {
        const bool isLog = !table.kind;
        bool isSound = false;
        if (isLog) {
            isSound = checksumOf(StoredSession{.id = id,
                                               .home = std::string(row.bytes(1)),
                                               .path = std::string(row.bytes(2)),
                                               .isGone = row.number(3) != 0,
                                               .head = std::string(row.bytes(5))}) == row.number(4);
        } else if (*table.kind == Kind::value) {
            isSound = checksumOf(Kind::value, row.bytes(3), row.bytes(2)) == row.number(1);
        } else {
            isSound = checksumOf(*table.kind, id, row.bytes(2)) == row.number(1);
        }
        if (!isSound) {
            isComplete_ = false;
            return;
        }
        DatabaseStatement& write = target_.statement(table.write);
        write.bind(1, id);
        if (isLog) {
            highest_ = std::max(highest_, id);
            write.bindBytes(2, row.bytes(1)).bindBytes(3, row.bytes(2)).bind(4, row.number(3));
            write.bind(5, row.number(4)).bindBytes(6, row.bytes(5));
        } else {
            write.bind(2, row.number(1)).bindBytes(3, row.bytes(2));
            if (*table.kind == Kind::value) write.bindBytes(4, row.bytes(3));
        }
        if (isFailure(write.run())) isAborted_ = true;
    }

    /// Tables that are missing and time that ran out are `other`.
    void note(Result result) {
        isComplete_ = false;
        const bool isOfDamage =
            result == Result::damaged || result == Result::other || result == Result::done;
        if (!isOfDamage) isAborted_ = true;
    }

    Database& source_;
    Database& target_;
    const Database::Clock::time_point deadline_ = Database::Clock::now() + patience;
    std::int64_t highest_ = 0;
    bool isComplete_ = true;
    bool isAborted_ = false;
};

/// A name that nothing has, neither for the file nor for its journals.
std::string freeNameFor(const fs::path& file) {
    for (int number = 1;; ++number) {
        std::string name = file.native() + ".damaged" + (number > 1 ? std::to_string(number) : "");
        const bool isTaken = exists(name) || std::ranges::any_of(journals, [&](const char* ending) {
                                 return exists(name + ending);
                             });
        if (!isTaken) return name;
    }
}

bool synchronise(const std::string& place, int flags) {
    const FileDescriptor descriptor(::open(place.c_str(), flags | O_RDONLY | O_CLOEXEC));
    return descriptor.isOpen() && ::fsync(descriptor.number()) == 0;
}

void removeWithJournals(const std::string& file) {
    for (const char* const ending : {"", "-wal", "-journal", "-shm"}) {
        ::unlink((file + ending).c_str());
    }
}

/// A second name for each file, or the only one where a file system has no links.
bool putAside(const std::string& file, const std::string& aside) {
    for (const char* const ending : {"-wal", "-journal", ""}) {
        const std::string from = file + ending;
        const std::string to = aside + ending;
        if (!exists(from) || ::link(from.c_str(), to.c_str()) == 0) continue;
        if (::rename(from.c_str(), to.c_str()) != 0) return false;
    }
    return true;
}

struct Made {
    bool isWritten = false;
    bool isComplete = false;
};

Made makeAnew(Database& source, const std::string& made, const std::string& aside) {
    removeWithJournals(made);
    ::mknod(made.c_str(), S_IFREG | 0600, 0);
    Database target;
    if (isFailure(target.open(made, Database::Opening::writable)) ||
        isFailure(target.run("PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF")) ||
        isFailure(SessionStoreFile::makeTables(target)) || isFailure(target.run("BEGIN"))) {
        return {};
    }
    Salvage salvage(source, target);
    if (!salvage.run()) return {};
    if (!salvage.isComplete()) {
        DatabaseStatement& note = target.statement(
            "INSERT INTO value(key, checksum, bytes) VALUES(?1, ?2, ?3)"
            " ON CONFLICT(key) DO UPDATE SET checksum = ?2, bytes = ?3");
        const std::string_view key = SessionStore::lostValue;
        note.bindBytes(1, key).bind(2, checksumOf(Kind::value, key, aside)).bindBytes(3, aside);
        if (isFailure(note.run())) return {};
    }
    const bool isWritten = !isFailure(target.run("COMMIT"));
    target.close();
    return {.isWritten = isWritten && synchronise(made, 0), .isComplete = salvage.isComplete()};
}

}  // namespace

bool replace(const fs::path& file) {
    const std::string place = file.native();
    const std::string made = place + ".new";
    const std::string aside = freeNameFor(file);
    Database source;
    source.open(file, Database::Opening::writable);
    source.waitForLocksUntil(Database::Clock::now() + SessionStoreFile::lockPatience);
    source.tolerateDamage();
    // Keeps writers out where the file is sound enough for that.
    source.run("BEGIN IMMEDIATE");
    const Made result = makeAnew(source, made, aside);
    if (!result.isWritten || !putAside(place, aside)) {
        debugLog("session store: malformed, and no new one can be made");
        removeWithJournals(made);
        return false;
    }
    // The old journals must never meet the new file.
    for (const char* const ending : {"-shm", "-wal", "-journal"})
        ::unlink((place + ending).c_str());
    const bool isReplaced = std::rename(made.c_str(), place.c_str()) == 0;
    const std::string folder = file.parent_path().native();
    synchronise(folder.empty() ? "." : folder, O_DIRECTORY);
    debugLog(fmt::format("session store: malformed and put aside as {}, {}", aside,
                         result.isComplete ? "all of it taken over" : "with a loss"));
    return isReplaced;
}

}  // namespace vantry::SessionStoreSalvage
