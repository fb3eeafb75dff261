#include "platform/Database.h"

#include <algorithm>
#include <array>
#include <map>
#include <sqlite3.h>
#include <thread>
#include <utility>

namespace vantry {

namespace {

DatabaseResult resultOf(int code) {
    switch (code & 0xff) {
        case SQLITE_OK:
        case SQLITE_DONE:
            return DatabaseResult::done;
        case SQLITE_ROW:
            return DatabaseResult::row;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return DatabaseResult::busy;
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return DatabaseResult::damaged;
        case SQLITE_FULL:
            return DatabaseResult::full;
        case SQLITE_READONLY:
            return DatabaseResult::readOnly;
        case SQLITE_NOMEM:
            return DatabaseResult::noMemory;
        case SQLITE_IOERR:
        case SQLITE_CANTOPEN:
            return DatabaseResult::io;
        default:
            return DatabaseResult::other;
    }
}

/// A name that SQLite takes as that file, whatever stands in its absolute path.
std::string uriOf(const std::filesystem::path& file) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string uri = "file:";
    for (const char byte : file.native()) {
        const auto value = static_cast<unsigned char>(byte);
        if (byte == '?' || byte == '#' || byte == '%') {
            uri += {'%', digits[value >> 4U], digits[value & 15U]};
        } else {
            uri += byte;
        }
    }
    return uri + "?immutable=1";
}

}  // namespace

std::string_view nameOf(DatabaseResult result) {
    constexpr std::array<std::string_view, 9> names{
        "done", "row", "busy", "damaged", "full", "read only", "no memory", "I/O error", "error"};
    return names[static_cast<std::size_t>(result)];
}

DatabaseStatement::DatabaseStatement(DatabaseStatement&& other) noexcept
    : handle_(std::exchange(other.handle_, nullptr)),
      failure_(other.failure_),
      bindingFailure_(other.bindingFailure_) {}

DatabaseStatement& DatabaseStatement::operator=(DatabaseStatement&& other) noexcept {
    std::swap(handle_, other.handle_);
    std::swap(failure_, other.failure_);
    std::swap(bindingFailure_, other.bindingFailure_);
    return *this;
}

DatabaseStatement::~DatabaseStatement() {
    sqlite3_finalize(handle_);
}

void DatabaseStatement::note(int code) {
    if (code != SQLITE_OK) bindingFailure_ = code;
}

DatabaseStatement& DatabaseStatement::bind(int parameter, std::int64_t number) {
    if (handle_) note(sqlite3_bind_int64(handle_, parameter, number));
    return *this;
}

// A view of nothing would be bound as null.
DatabaseStatement& DatabaseStatement::bindText(int parameter, std::string_view text) {
    if (handle_) {
        note(sqlite3_bind_text64(handle_, parameter, text.data() ? text.data() : "", text.size(),
                                 SQLITE_STATIC, SQLITE_UTF8));
    }
    return *this;
}

DatabaseStatement& DatabaseStatement::bindBytes(int parameter, std::string_view bytes) {
    if (handle_) {
        note(sqlite3_bind_blob64(handle_, parameter, bytes.data() ? bytes.data() : "", bytes.size(),
                                 SQLITE_STATIC));
    }
    return *this;
}

DatabaseResult DatabaseStatement::step() {
    if (!handle_) return failure_;
    const int code = bindingFailure_ != SQLITE_OK ? bindingFailure_ : sqlite3_step(handle_);
    const DatabaseResult result = resultOf(code);
    if (isFailure(result)) reset();
    return result;
}

DatabaseResult DatabaseStatement::run() {
    const DatabaseResult result = step();
    reset();
    return result;
}

void DatabaseStatement::reset() {
    if (!handle_) return;
    sqlite3_reset(handle_);
    sqlite3_clear_bindings(handle_);
    bindingFailure_ = SQLITE_OK;
}

std::int64_t DatabaseStatement::number(int column) const {
    return handle_ ? sqlite3_column_int64(handle_, column) : 0;
}

std::string_view DatabaseStatement::bytes(int column) const {
    if (!handle_) return {};
    const void* const data = sqlite3_column_blob(handle_, column);
    const int size = sqlite3_column_bytes(handle_, column);
    if (!data) return {};
    return {static_cast<const char*>(data), static_cast<std::size_t>(size)};
}

struct Database::State {
    sqlite3* connection = nullptr;
    std::map<std::string_view, DatabaseStatement> statements;
    Clock::time_point lockDeadline = Clock::time_point::min();
    Clock::time_point stopDeadline = Clock::time_point::max();
    int loggedPages = 0;

    ~State() { close(); }

    void close() {
        statements.clear();
        sqlite3_close_v2(std::exchange(connection, nullptr));
        loggedPages = 0;
    }

    static int waitForLock(void* context, int attempt) {
        constexpr auto longestPause = std::chrono::milliseconds(20);
        const auto left = static_cast<State*>(context)->lockDeadline - Clock::now();
        if (left <= Clock::duration::zero()) return 0;
        const Clock::duration pause =
            std::min(longestPause, std::chrono::milliseconds(attempt + 1));
        std::this_thread::sleep_for(std::min(pause, left));
        return 1;
    }

    static int isOverdue(void* context) {
        return Clock::now() >= static_cast<State*>(context)->stopDeadline ? 1 : 0;
    }

    static int noteLog(void* context, sqlite3*, const char*, int pages) {
        static_cast<State*>(context)->loggedPages = pages;
        return SQLITE_OK;
    }
};

Database::Database() : state_(std::make_unique<State>()) {}
Database::Database(Database&&) noexcept = default;
Database& Database::operator=(Database&&) noexcept = default;
Database::~Database() = default;

DatabaseResult Database::open(const std::filesystem::path& file, Opening opening) {
    close();
    const bool isWritable = opening == Opening::writable;
    const int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE |
                      (isWritable ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE
                                  : SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
    // A relative name could be taken for one with a meaning, such as ":memory:".
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(file, error);
    if (error) return DatabaseResult::io;
    const std::string name = isWritable ? absolute.native() : uriOf(absolute);
    const int code = sqlite3_open_v2(name.c_str(), &state_->connection, flags, nullptr);
    if (code != SQLITE_OK) {
        close();
        return resultOf(code);
    }
    sqlite3* const connection = state_->connection;
    sqlite3_db_config(connection, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_db_config(connection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    sqlite3_busy_handler(connection, &State::waitForLock, state_.get());
    sqlite3_wal_hook(connection, &State::noteLog, state_.get());
    return DatabaseResult::done;
}

void Database::close() {
    state_->close();
}

bool Database::isOpen() const {
    return state_->connection != nullptr;
}

bool Database::isReadOnly() const {
    return isOpen() && sqlite3_db_readonly(state_->connection, "main") == 1;
}

bool Database::isInTransaction() const {
    return isOpen() && sqlite3_get_autocommit(state_->connection) == 0;
}

DatabaseStatement& Database::statement(const char* sql) {
    DatabaseStatement& statement = state_->statements[sql];
    if (statement.handle_) {
        statement.reset();
    } else if (isOpen()) {
        statement.failure_ = resultOf(sqlite3_prepare_v3(
            state_->connection, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement.handle_, nullptr));
    }
    return statement;
}

DatabaseResult Database::run(const char* sql) {
    if (!isOpen()) return DatabaseResult::other;
    return resultOf(sqlite3_exec(state_->connection, sql, nullptr, nullptr, nullptr));
}

Database::Answer Database::ask(const char* sql) {
    DatabaseStatement& question = statement(sql);
    Answer answer{.result = question.step()};
    if (answer.result == DatabaseResult::row) {
        answer.number = question.number(0);
        answer.text = question.bytes(0);
    }
    question.reset();
    return answer;
}

void Database::waitForLocksUntil(Clock::time_point deadline) {
    state_->lockDeadline = deadline;
}

void Database::stopAt(Clock::time_point deadline) {
    constexpr int operations = 10'000;
    state_->stopDeadline = deadline;
    if (isOpen()) {
        sqlite3_progress_handler(state_->connection, operations, &State::isOverdue, state_.get());
    }
}

void Database::tolerateDamage() {
    if (isOpen())
        sqlite3_db_config(state_->connection, SQLITE_DBCONFIG_WRITABLE_SCHEMA, 1, nullptr);
}

int Database::loggedPages() const {
    return state_->loggedPages;
}

DatabaseResult Database::writeBackLog() {
    if (!isOpen()) return DatabaseResult::other;
    state_->lockDeadline = Clock::time_point::min();
    return resultOf(sqlite3_wal_checkpoint_v2(state_->connection, "main",
                                              SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr));
}

std::string Database::message() const {
    return isOpen() ? sqlite3_errmsg(state_->connection) : "the database is closed";
}

}  // namespace vantry
