#pragma once

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "io/ChildProcess.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

struct ProgramRun {
    int status = -1;  ///< 128 plus the signal's number for a death by signal, -1 for no end
    std::string output;
    std::string error;
};

/// A user of the program: a directory with "home" and "cache", which the overrides name, and
/// "user", the real home. The program sees no variable but these and those that a test gives it.
class ProgramTest : public testing::Test {
  protected:
    using Variables = std::map<std::string, std::string>;

    ProgramTest();

    /// A machine with a codex of its own would be asked in place of the prepared home.
    void SetUp() override;

    /// Starts the program by a line of shell, in which "$0" is its path and "$@" its arguments.
    ProgramRun run(const std::vector<std::string>& arguments, const Variables& variables = {},
                   const std::string& shellLine = R"(exec "$0" "$@")") const;

    /// What --dump-json prints; expects that it ends well and without a word on standard error.
    std::string dump(const Variables& variables = {}) const;

    /// Puts a program in the place of the home's own codex.
    void installCodex(std::string_view script) const;

    /// Every path below the directory but those of the cache, with the size of files.
    std::map<std::string, std::uintmax_t> tree() const;

    std::filesystem::path root() const { return directory_.path(); }

  private:
    TemporaryDirectory directory_{"vantry-program-test-"};
};

/// The sqlite3 program with a database open. At the object's end it lets go: what is not committed
/// is undone, and the write-ahead log is worked in.
class DatabaseWriter {
  public:
    explicit DatabaseWriter(const std::filesystem::path& database);
    DatabaseWriter(const DatabaseWriter&) = delete;
    DatabaseWriter& operator=(const DatabaseWriter&) = delete;
    ~DatabaseWriter();

    /// Carries the statements out. False when sqlite3 does not say so within seconds; it goes on
    /// after an error.
    bool run(std::string statements);

  private:
    ChildProcess sqlite_;
    FileDescriptor input_;
};

/// A shell script that answers every request of a read for one account, whose id is
/// "fixture-account". Shell functions in `changes` take the place of its own.
std::string codexScript(std::string_view changes = "");

/// Compares what stands at paths such as "runtimes.0.status" of a document. An object or array is
/// named by its size.
void expectFacts(const std::string& json, const std::map<std::string, std::string>& facts);

}  // namespace vantry
