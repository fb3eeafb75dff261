#pragma once

#include <gtest/gtest.h>

#include "io/ChildProcess.h"
#include "selftests/support/CodexScript.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

struct ProgramRun {
    int status = -1;  ///< 128 plus the signal's number for a death by signal, -1 for no end
    std::string output;
    std::string error;
};

/// Appends what can be read to `text` until that holds `wanted`. False when it does not within
/// seconds, or before the end.
bool readUntil(const FileDescriptor& stream, std::string& text, std::string_view wanted);

/// The program while it runs. At the object's end it is killed.
class RunningProgram {
  public:
    explicit RunningProgram(ChildProcess process) : process_(std::move(process)) {}

    /// Waits until all that it has printed holds the text.
    bool prints(std::string_view text) {
        return readUntil(process_.standardOutput(), output_, text);
    }
    const std::string& output() const { return output_; }

    void signal(int number);
    /// Sends a signal and gives the seconds until the end; nothing when it does not come.
    std::optional<double> secondsToEnd(int signalNumber);

    /// Like that of ProgramRun, after the end.
    int status() const { return process_.exitCode().value_or(-1); }

  private:
    ChildProcess process_;
    std::string output_;
};

/// A user of the program: a directory with "home" and "cache", which the overrides name, and
/// "user", the real home. The program sees no variable but these, VANTRY_CODEX_PATH for the codex
/// of installCodex, so that a codex of the machine is never asked, and those that a test gives it.
class ProgramTest : public testing::Test {
  protected:
    using Variables = std::map<std::string, std::string>;

    ProgramTest();

    /// Starts the program by a line of shell, in which "$0" is its path and "$@" its arguments.
    ProgramRun run(const std::vector<std::string>& arguments, const Variables& variables = {},
                   const std::string& shellLine = R"(exec "$0" "$@")") const;

    /// The same for a program that the test has to end. The line of shell must become the program.
    RunningProgram start(const std::vector<std::string>& arguments, const Variables& variables = {},
                         const std::string& shellLine = R"(exec "$0" "$@")") const;

    /// What --dump-json prints; expects that it ends well and without a word on standard error.
    std::string dump(const Variables& variables = {}) const;

    /// Sends a signal and expects an end by it, soon and with all that the program has started.
    void expectPromptEnd(RunningProgram& program, int signal) const;

    /// Puts a program in the place of the home's own codex.
    void installCodex(std::string_view script) const;

    /// Every path below the directory but those of the cache, with the size of files.
    std::map<std::string, std::uintmax_t> tree() const;

    std::filesystem::path root() const { return directory_.path(); }

    /// Expects that neither the program runs nor anything that it has started.
    void expectNothingRuns() const;

  private:
    /// The names of the processes that know of the directory by their variables.
    std::vector<std::string> processes() const;

    std::vector<std::string> commandLine(const std::vector<std::string>& arguments,
                                         const Variables& variables,
                                         const std::string& shellLine) const;

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

/// Compares what stands at paths such as "runtimes.0.status" of a document. An object or array is
/// named by its size.
void expectFacts(const std::string& json, const std::map<std::string, std::string>& facts);

}  // namespace vantry
