#include "local/cache/SessionStore.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "diagnostics/DebugLog.h"
#include "local/cache/SessionStoreFile.h"
#include "platform/Database.h"

namespace vantry {

using SessionStoreFile::checksumOf;
using SessionStoreFile::Kind;
using Result = DatabaseResult;

namespace {

/// Statements of a part's table.
struct PartStatements {
    Kind kind;
    const char* read;
    const char* readAll;
    const char* write;
    const char* erase;
};

// The index names the rows of a home by the order of another column: the parts lead the way.
constexpr PartStatements eventsStatements{
    .kind = Kind::events,
    .read = "SELECT checksum, bytes FROM events WHERE id = ?1",
    .readAll =
        "SELECT events.id, events.checksum, bytes FROM events CROSS JOIN log USING (id)"
        " WHERE home = ?1 ORDER BY events.id",
    .write = "INSERT OR REPLACE INTO events(id, checksum, bytes) VALUES(?1, ?2, ?3)",
    .erase = "DELETE FROM events WHERE id = ?1"};
constexpr PartStatements shareStatements{
    .kind = Kind::share,
    .read = "SELECT checksum, bytes FROM share WHERE id = ?1",
    .readAll =
        "SELECT share.id, share.checksum, bytes FROM share CROSS JOIN log USING (id)"
        " WHERE home = ?1 ORDER BY share.id",
    .write = "INSERT OR REPLACE INTO share(id, checksum, bytes) VALUES(?1, ?2, ?3)",
    .erase = "DELETE FROM share WHERE id = ?1"};

const PartStatements& statementsOf(SessionPart kind) {
    return kind == SessionPart::events ? eventsStatements : shareStatements;
}

/// A small commit that also writes the log back stays below 256 KiB.
constexpr int mostLoggedPages = 32;

/// Room for so many rows costs nothing before it is used.
constexpr std::size_t usualRowCount = 16'384;

}  // namespace

struct SessionStore::State {
    std::filesystem::path file;
    SessionStoreFile::Opened opened;
    bool mayOpen = true;
    bool isVisiting = false;
    std::optional<SessionStoreFile::Identity> damaged;  ///< to be replaced at the next opening
    std::optional<std::int64_t> seenGeneration;
    struct Unfitting {
        std::int64_t id = 0;
        bool isGone = false;
    };
    std::vector<Unfitting> unfitting;  ///< rows with a wrong checksum
    // Of the transaction:
    bool isWriting = false;
    bool hasChanges = false;
    Result failure = Result::done;
    std::string reason;
    std::int64_t highestId = 0;

    Database& database() { return opened.database; }

    void patience() {
        database().waitForLocksUntil(Database::Clock::now() + SessionStoreFile::lockPatience);
    }

    /// A read begins: what could not be opened is tried again.
    void allowOpening() {
        if (isWriting || isVisiting) return;
        mayOpen = true;
        const bool isOurs = SessionStoreFile::identityOf(file) == opened.identity;
        if (!isOurs || opened.access != Access::writable) drop();
    }

    void drop() {
        opened.database.close();
        opened.access = Access::unavailable;
    }

    bool isReady() {
        if (!database().isOpen() && mayOpen && !isVisiting) {
            mayOpen = false;
            opened = SessionStoreFile::open({.file = file, .damaged = std::exchange(damaged, {})});
        }
        if (database().isOpen() && !isWriting) patience();
        return database().isOpen();
    }

    /// Draws the conclusion of a step that failed; true when it did not.
    bool held(Result result) {
        if (!isFailure(result)) return true;
        const std::string words = fmt::format("{}: {}", nameOf(result), database().message());
        debugLog("session store: " + words);
        if (isWriting && !isFailure(failure)) {
            failure = result;
            reason = words;
        }
        if (result == Result::damaged && opened.access == Access::writable) {
            damaged = opened.identity;
            mayOpen = true;
        }
        const bool isOfConnection = result != Result::busy && result != Result::noMemory;
        if (isOfConnection && !isWriting && !isVisiting) drop();
        return false;
    }

    std::optional<std::int64_t> generation() {
        const Database::Answer answer = database().ask("SELECT generation FROM state WHERE id = 1");
        if (answer.result == Result::row) return answer.number;
        held(answer.result == Result::done ? Result::damaged : answer.result);
        return std::nullopt;
    }

    std::optional<std::vector<StoredSession>> sessions(const std::string& home) {
        std::vector<StoredSession> rows;
        std::vector<Unfitting> wrong;
        rows.reserve(usualRowCount);
        DatabaseStatement& statement = database().statement(
            "SELECT id, path, is_gone, checksum, head FROM log WHERE home = ?1 ORDER BY id");
        statement.bindBytes(1, home);
        Result result = Result::row;
        while ((result = statement.step()) == Result::row) {
            StoredSession& row = rows.emplace_back();
            row.id = statement.number(0);
            row.home = home;
            row.path = statement.bytes(1);
            row.isGone = statement.number(2) != 0;
            row.head = statement.bytes(4);
            if (checksumOf(row) != statement.number(3)) {
                wrong.push_back({.id = row.id, .isGone = row.isGone});
                rows.pop_back();
            }
        }
        statement.reset();
        if (!held(result)) return std::nullopt;
        unfitting.insert(unfitting.end(), wrong.begin(), wrong.end());
        return rows;
    }

    /// A write of the transaction; none after the first that failed, which may have ended it.
    DatabaseStatement* write(const char* sql) {
        if (!isWriting || isFailure(failure)) return nullptr;
        hasChanges = true;
        return &database().statement(sql);
    }

    /// Ends the transaction without a trace.
    void abandon() {
        if (database().isInTransaction()) database().run("ROLLBACK");
        isWriting = false;
        const Result why = std::exchange(failure, Result::done);
        if (damaged || why == Result::io || why == Result::other) {
            mayOpen = true;
            drop();
        }
    }
};

SessionStore::SessionStore(std::filesystem::path file) : state_(std::make_unique<State>()) {
    state_->file = std::move(file);
}

SessionStore::SessionStore(SessionStore&&) noexcept = default;
SessionStore& SessionStore::operator=(SessionStore&&) noexcept = default;
SessionStore::~SessionStore() = default;

SessionStore::Access SessionStore::access() {
    state_->isReady();
    return state_->opened.access;
}

bool SessionStore::hasChanged() {
    State& state = *state_;
    state.allowOpening();
    if (!state.isReady()) return true;
    const std::optional<std::int64_t> now = state.generation();
    return !now || now != state.seenGeneration;
}

std::optional<std::vector<StoredSession>> SessionStore::sessions(const std::string& home) {
    State& state = *state_;
    state.allowOpening();
    // A second time after a malformed file has been replaced.
    for (int attempt = 0; attempt < 2 && state.isReady(); ++attempt) {
        if (state.isWriting) return state.sessions(home);
        if (!state.held(state.database().run("BEGIN"))) continue;
        state.unfitting.clear();
        const std::optional<std::int64_t> generation = state.generation();
        std::optional<std::vector<StoredSession>> rows;
        if (generation) rows = state.sessions(home);
        if (state.database().isInTransaction()) state.database().run("ROLLBACK");
        if (!rows) continue;
        state.seenGeneration = generation;
        return rows;
    }
    return std::nullopt;
}

std::optional<std::vector<StoredSession>> SessionStore::moreSessions(const std::string& home) {
    return state_->isReady() ? state_->sessions(home) : std::nullopt;
}

std::int64_t SessionStore::nextId() {
    State& state = *state_;
    if (!state.isReady()) return 0;
    const Database::Answer answer = state.database().ask(
        "SELECT max(last_id, (SELECT coalesce(max(id), 0) FROM log)) FROM state WHERE id = 1");
    if (!state.held(answer.result)) return 0;
    return std::max(answer.number, state.isWriting ? state.highestId : 0) + 1;
}

std::optional<std::string> SessionStore::part(std::int64_t id, SessionPart kind) {
    State& state = *state_;
    if (!state.isReady()) return std::nullopt;
    const PartStatements& statements = statementsOf(kind);
    DatabaseStatement& statement = state.database().statement(statements.read).bind(1, id);
    const Result result = statement.step();
    std::optional<std::string> bytes;
    if (result == Result::row &&
        checksumOf(statements.kind, id, statement.bytes(1)) == statement.number(0)) {
        bytes = statement.bytes(1);
    }
    statement.reset();
    state.held(result);
    return bytes;
}

bool SessionStore::isOutOfReach(std::int64_t id, SessionPart kind) {
    State& state = *state_;
    if (!state.isReady()) return true;
    DatabaseStatement& statement = state.database().statement(statementsOf(kind).read).bind(1, id);
    const Result result = statement.step();
    statement.reset();
    return !state.held(result);
}

bool SessionStore::forEachPart(const std::string& home, SessionPart kind, const PartVisit& visit) {
    State& state = *state_;
    if (state.isVisiting || !state.isReady()) return false;
    const PartStatements& statements = statementsOf(kind);
    DatabaseStatement& statement = state.database().statement(statements.readAll);
    statement.bindBytes(1, home);
    state.isVisiting = true;
    Result result = Result::row;
    while ((result = statement.step()) == Result::row) {
        const std::int64_t id = statement.number(0);
        const std::string_view bytes = statement.bytes(2);
        if (checksumOf(statements.kind, id, bytes) == statement.number(1)) visit(id, bytes);
    }
    statement.reset();
    state.isVisiting = false;
    return state.held(result);
}

std::optional<std::string> SessionStore::value(std::string_view key) {
    State& state = *state_;
    if (!state.isReady()) return std::nullopt;
    DatabaseStatement& statement =
        state.database().statement("SELECT checksum, bytes FROM value WHERE key = ?1");
    const Result result = statement.bindBytes(1, key).step();
    std::optional<std::string> bytes;
    if (result == Result::row &&
        checksumOf(Kind::value, key, statement.bytes(1)) == statement.number(0)) {
        bytes = statement.bytes(1);
    }
    statement.reset();
    state.held(result);
    return bytes;
}

SessionStore::WriteStart SessionStore::beginWriting() {
    State& state = *state_;
    if (state.isWriting || state.isVisiting || !state.isReady() ||
        state.opened.access != Access::writable) {
        return WriteStart::unavailable;
    }
    const Result result = state.database().run("BEGIN IMMEDIATE");
    if (!state.held(result)) {
        return result == Result::busy ? WriteStart::busy : WriteStart::unavailable;
    }
    const std::optional<std::int64_t> generation = state.generation();
    const bool isOurs = SessionStoreFile::identityOf(state.file) == state.opened.identity;
    if (!generation || !isOurs || generation != state.seenGeneration) {
        state.abandon();
        return generation ? WriteStart::outdated : WriteStart::unavailable;
    }
    state.isWriting = true;
    state.hasChanges = false;
    state.failure = Result::done;
    state.highestId = 0;
    for (const State::Unfitting& row : std::exchange(state.unfitting, {})) {
        erase(row.id);
        if (row.isGone) setValue(lostValue, state.file.native());
    }
    return WriteStart::ready;
}

bool SessionStore::isWriting() const {
    return state_->isWriting && !isFailure(state_->failure);
}

void SessionStore::put(const StoredSession& session) {
    State& state = *state_;
    DatabaseStatement* const statement = state.write(
        "INSERT INTO log(id, home, path, is_gone, checksum, head) VALUES(?1, ?2, ?3, ?4, ?5, ?6)"
        " ON CONFLICT(id) DO UPDATE SET home = ?2, path = ?3, is_gone = ?4, checksum = ?5,"
        " head = ?6");
    if (!statement) return;
    state.highestId = std::max(state.highestId, session.id);
    statement->bind(1, session.id).bindBytes(2, session.home).bindBytes(3, session.path);
    statement->bind(4, session.isGone ? 1 : 0).bind(5, checksumOf(session));
    state.held(statement->bindBytes(6, session.head).run());
}

void SessionStore::putPart(std::int64_t id, SessionPart kind, std::string_view bytes) {
    State& state = *state_;
    const PartStatements& statements = statementsOf(kind);
    if (DatabaseStatement* const statement = state.write(statements.write)) {
        statement->bind(1, id).bind(2, checksumOf(statements.kind, id, bytes)).bindBytes(3, bytes);
        state.held(statement->run());
    }
}

void SessionStore::erase(std::int64_t id) {
    State& state = *state_;
    for (const char* const sql :
         {"DELETE FROM log WHERE id = ?1", eventsStatements.erase, shareStatements.erase}) {
        if (DatabaseStatement* const statement = state.write(sql)) {
            state.held(statement->bind(1, id).run());
        }
    }
}

void SessionStore::setValue(std::string_view key, std::string_view bytes) {
    State& state = *state_;
    DatabaseStatement* const statement = state.write(
        "INSERT INTO value(key, checksum, bytes) VALUES(?1, ?2, ?3)"
        " ON CONFLICT(key) DO UPDATE SET checksum = ?2, bytes = ?3");
    if (!statement) return;
    statement->bindBytes(1, key).bind(2, checksumOf(Kind::value, key, bytes)).bindBytes(3, bytes);
    state.held(statement->run());
}

void SessionStore::eraseValue(std::string_view key) {
    State& state = *state_;
    if (DatabaseStatement* const statement = state.write("DELETE FROM value WHERE key = ?1")) {
        state.held(statement->bindBytes(1, key).run());
    }
}

bool SessionStore::commit() {
    State& state = *state_;
    if (!state.isWriting) return false;
    if (!state.hasChanges && !isFailure(state.failure)) {
        state.abandon();
        return true;
    }
    state.patience();
    std::optional<std::int64_t> generation;
    if (DatabaseStatement* const statement =
            state.write("UPDATE state SET generation = (generation + 1) & 0x3fffffffffffffff,"
                        " last_id = max(last_id, ?1) WHERE id = 1")) {
        if (state.held(statement->bind(1, state.highestId).run())) generation = state.generation();
    }
    // The file could have been replaced by a process that found it malformed.
    if (generation && SessionStoreFile::identityOf(state.file) != state.opened.identity) {
        state.failure = Result::other;
        state.reason = "the file is no longer there";
    }
    const bool isWritten =
        generation && !isFailure(state.failure) && state.held(state.database().run("COMMIT"));
    if (!isWritten) {
        debugLog("session store: nothing was written: " + state.reason);
        state.abandon();
        return false;
    }
    state.isWriting = false;
    state.seenGeneration = generation;
    if (state.database().loggedPages() > mostLoggedPages) {
        const Result result = state.database().writeBackLog();
        if (result != Result::busy) state.held(result);
    }
    return true;
}

void SessionStore::rollBack() {
    if (state_->isWriting) state_->abandon();
}

bool SessionStore::settle() {
    State& state = *state_;
    if (!state.database().isOpen() || state.isWriting || state.isVisiting) return false;
    return state.held(state.database().writeBackLog());
}

}  // namespace vantry
