#include "local/cache/SessionStoreSalvage.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <deque>
#include <limits>
#include <numeric>
#include <optional>
#include <string>

#include "local/cache/SessionStore.h"
#include "local/cache/SessionStoreFile.h"
#include "platform/Database.h"

namespace vantry::SessionStoreSalvage {

namespace {

using Result = DatabaseResult;
using SessionStoreFile::checksumOf;
using SessionStoreFile::Kind;

constexpr auto patience = std::chrono::seconds(20);
constexpr int mostFailedSeeks = 20'000;
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

/// Walks over the tables of one database.
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

}  // namespace

Outcome takeOver(Database& source, Database& target) {
    Salvage salvage(source, target);
    const bool isDone = salvage.run();
    return {.isDone = isDone, .isComplete = isDone && salvage.isComplete()};
}

}  // namespace vantry::SessionStoreSalvage
