#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace vantry {

/// How a step or a statement ended.
enum class DatabaseResult : std::uint8_t {
    done,
    row,
    busy,     ///< another connection holds a lock
    damaged,  ///< the file is malformed or no database at all
    full,
    readOnly,
    noMemory,
    io,
    other,
};

constexpr bool isFailure(DatabaseResult result) {
    return result != DatabaseResult::done && result != DatabaseResult::row;
}

std::string_view nameOf(DatabaseResult result);

/// A prepared statement. Bound views are not copied: they must live until the next reset().
class DatabaseStatement {
  public:
    DatabaseStatement() = default;
    DatabaseStatement(DatabaseStatement&& other) noexcept;
    DatabaseStatement& operator=(DatabaseStatement&& other) noexcept;
    DatabaseStatement(const DatabaseStatement&) = delete;
    DatabaseStatement& operator=(const DatabaseStatement&) = delete;
    ~DatabaseStatement();

    /// False for a table that is missing or a schema that cannot be read: every step fails.
    bool isPrepared() const { return handle_ != nullptr; }

    /// Parameters count from 1. What cannot be bound makes the next step fail.
    DatabaseStatement& bind(int parameter, std::int64_t number);
    DatabaseStatement& bindText(int parameter, std::string_view text);
    DatabaseStatement& bindBytes(int parameter, std::string_view bytes);

    /// One row further. A failure resets the statement.
    DatabaseResult step();
    /// Steps once and resets: for a statement without rows, or one row that does not matter.
    DatabaseResult run();
    /// Frees the locks and the bound views.
    void reset();

    /// A column of the row that step() came to, from 0; views live until the next step or reset.
    std::int64_t number(int column) const;
    std::string_view bytes(int column) const;

  private:
    friend class Database;
    void note(int code);

    sqlite3_stmt* handle_ = nullptr;
    DatabaseResult failure_ = DatabaseResult::other;  ///< why there is no handle
    int bindingFailure_ = 0;
};

/// One connection to a SQLite database. One thread at a time; never throws. Closes at the end of
/// its life, without bringing a write-ahead log back into the file.
class Database {
  public:
    using Clock = std::chrono::steady_clock;
    enum class Opening {
        writable,      ///< made where it is absent; read only where it cannot be written
        unchangeable,  ///< read without locks: nothing and nobody may write it meanwhile
    };

    Database();
    Database(Database&&) noexcept;
    Database& operator=(Database&&) noexcept;
    ~Database();

    /// Closes what is open first. A damaged file often shows at the first statement only.
    DatabaseResult open(const std::filesystem::path& file, Opening opening);
    void close();
    bool isOpen() const;
    bool isReadOnly() const;
    bool isInTransaction() const;

    /// The statement of that text, prepared once; valid until close(). `sql` must outlive this.
    DatabaseStatement& statement(const char* sql);
    /// Runs all statements of a text and drops their rows.
    DatabaseResult run(const char* sql);
    struct Answer {
        DatabaseResult result = DatabaseResult::other;  ///< row when there is an answer
        std::string text;                               ///< of a number its digits
        std::int64_t number = 0;
    };
    /// The first column of the first row.
    Answer ask(const char* sql);

    /// Locks of others are waited for until then; not at all without a call.
    void waitForLocksUntil(Clock::time_point deadline);
    /// Statements that still run then end with `other`.
    void stopAt(Clock::time_point deadline);
    /// Lets damaged schemas and files that were cut be read as far as they go.
    void tolerateDamage();

    /// Pages in the write-ahead log after the last commit of this connection.
    int loggedPages() const;
    /// Brings the write-ahead log back into the file and empties it, or as much as can be done
    /// while others read.
    DatabaseResult writeBackLog();

    /// What SQLite says of the last failure.
    std::string message() const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace vantry
