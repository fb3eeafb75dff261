#pragma once

#include <csignal>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <variant>
#include <vector>

#include "io/Deadline.h"
#include "platform/FileDescriptor.h"

namespace vantry {

/// What a child reads on its standard input.
struct NullInput {};  ///< the null device
struct PipeInput {};  ///< a pipe whose write end the parent takes
using ChildInput = std::variant<NullInput, PipeInput, const FileDescriptor*>;

/// A program to be started. The working directory is inherited.
struct ChildLaunch {
    std::filesystem::path executable;         ///< as it stands: no search path is used
    std::vector<std::string> arguments = {};  ///< without the program's own name
    /// Variables that replace or join those of this process.
    std::vector<std::pair<std::string, std::string>> environment = {};
    /// A descriptor is only borrowed for the call to spawn; the child shares its read position.
    ChildInput standardInput = NullInput{};
};

/// The child could not be started. `message` is the text of the system error `errorNumber`.
struct LaunchFailure {
    int errorNumber = 0;
    std::string message;
};

/// A handle on one child, from its start to its end.
///
/// The child gets three descriptors and no other, an empty signal mask and default signal
/// dispositions, and leads a process group of its own, so that whatever it starts can be ended with
/// it. No thread and no signal handler watches it: its end shows on pidfd(). Its number, which is
/// that of the group, stays taken until the handle's end. One thread at a time may use a handle.
class ChildProcess {
  public:
    /// Starts a child. Fails with EINVAL for text with a NUL byte in it, otherwise with the error
    /// of the system call that failed, the one of the exec included.
    static std::variant<ChildProcess, LaunchFailure> spawn(const ChildLaunch& launch);

    ChildProcess(ChildProcess&&) = default;
    ChildProcess& operator=(ChildProcess&& other) noexcept;

    /// Kills what is left of the group, and reaps the child. Waits for its end for a fraction of a
    /// second; one that lives on in the kernel after that is left to a thread of its own, so that
    /// no zombie stays.
    ~ChildProcess();

    /// The read ends of the child's output streams, non-blocking; the caller may close them.
    FileDescriptor& standardOutput() { return standardOutput_; }
    FileDescriptor& standardError() { return standardError_; }

    /// Hands over the blocking write end of the child's input: open once, after a PipeInput.
    FileDescriptor takeStandardInput() { return std::move(standardInput_); }

    /// Lets go of the read end of the child's input, which the parent holds open until then, so
    /// that a first request is written the same whether the child still lives or not.
    void closeInputReader() { inputReader_.close(); }

    /// For poll(2): readable from the end of the child on.
    const FileDescriptor& pidfd() const { return pidfd_; }

    pid_t processIdentifier() const { return pid_; }

    /// Whether the child had not ended at this moment. Never waits.
    bool running();

    /// Waits for the end, at most `limit`. True when the child has ended.
    bool waitForExit(MonotonicClock::duration limit);

    /// Known as soon as running() or waitForExit() has seen the end: the exit code, 128 plus the
    /// signal's number for a death by signal, or -1 when somebody else has taken the status, as
    /// happens in a process that ignores SIGCHLD.
    std::optional<int> exitCode() const { return exitCode_; }

    /// SIGTERM and SIGKILL for the group, also when the child itself has ended. They reach this
    /// group or nobody.
    void terminate() { signal(SIGTERM); }
    void kill() { signal(SIGKILL); }

  private:
    ChildProcess(pid_t pid, FileDescriptor pidfd) : pid_(pid), pidfd_(std::move(pidfd)) {}

    void signal(int number);
    void end() noexcept;

    pid_t pid_;
    FileDescriptor pidfd_;
    FileDescriptor standardInput_;
    FileDescriptor inputReader_;
    FileDescriptor standardOutput_;
    FileDescriptor standardError_;
    std::optional<int> exitCode_;
};

}  // namespace vantry
