#include "io/ChildProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <spawn.h>
#include <string_view>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace vantry {

namespace {

using namespace std::chrono_literals;

// How long the end of a killed child is waited for when its handle is given up.
constexpr auto reapingTime = 100ms;

LaunchFailure failure(int errorNumber) {
    return {.errorNumber = errorNumber, .message = std::generic_category().message(errorNumber)};
}

/// Moves a descriptor out of the range of the standard streams, where it could land when this
/// process was started with one of them closed; there it would be overwritten in the child.
FileDescriptor aboveStandardStreams(FileDescriptor file) {
    if (!file.isOpen() || file.number() > STDERR_FILENO) return file;
    return FileDescriptor(::fcntl(file.number(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

/// Both ends closed on exec; none open on failure, with errno set.
Pipe makePipe() {
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {};
    FileDescriptor readEnd(ends[0]);
    FileDescriptor writeEnd(ends[1]);
    readEnd = aboveStandardStreams(std::move(readEnd));
    if (!readEnd.isOpen()) return {};
    writeEnd = aboveStandardStreams(std::move(writeEnd));
    if (!writeEnd.isOpen()) return {};
    return {.readEnd = std::move(readEnd), .writeEnd = std::move(writeEnd)};
}

bool makeNonBlocking(const FileDescriptor& file) {
    const int flags = ::fcntl(file.number(), F_GETFL);
    return flags >= 0 && ::fcntl(file.number(), F_SETFL, flags | O_NONBLOCK) == 0;
}

/// What the child does between its start and the exec, in the order of the calls.
class SpawnPlan {
  public:
    SpawnPlan() {
        note(::posix_spawn_file_actions_init(&actions_));
        note(::posix_spawnattr_init(&attributes_));
        sigset_t none;
        sigset_t all;
        ::sigemptyset(&none);
        ::sigfillset(&all);
        note(::posix_spawnattr_setsigmask(&attributes_, &none));
        note(::posix_spawnattr_setsigdefault(&attributes_, &all));
        note(::posix_spawnattr_setpgroup(&attributes_, 0));
        note(::posix_spawnattr_setflags(
            &attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP));
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan() {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }

    void openNullDevice(int target) {
        note(::posix_spawn_file_actions_addopen(&actions_, target, "/dev/null", O_RDONLY, 0));
    }
    void duplicate(const FileDescriptor& source, int target) {
        note(::posix_spawn_file_actions_adddup2(&actions_, source.number(), target));
    }
    void closeFrom(int lowest) {
        note(::posix_spawn_file_actions_addclosefrom_np(&actions_, lowest));
    }

    /// Gives 0 or the first error of all that was asked for.
    int carryOut(pid_t& pid, const char* executable, char** arguments, char** environment) {
        if (error_ == 0) {
            note(::posix_spawn(&pid, executable, &actions_, &attributes_, arguments, environment));
        }
        return error_;
    }

  private:
    void note(int error) {
        if (error_ == 0) error_ = error;
    }

    posix_spawn_file_actions_t actions_{};
    posix_spawnattr_t attributes_{};
    int error_ = 0;
};

// The C library has these two since glibc 2.36 only, and there without linkage for C++.
int openPidfd(pid_t pid) {
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
}

void sendSignal(const FileDescriptor& pidfd, int number) {
    ::syscall(SYS_pidfd_send_signal, pidfd.number(), number, nullptr, 0);
}

int waitOn(const FileDescriptor& pidfd, siginfo_t& info, int flags) {
    const auto number = static_cast<id_t>(pidfd.number());
    int outcome = 0;
    do {
        outcome = ::waitid(P_PIDFD, number, &info, WEXITED | flags);
    } while (outcome != 0 && errno == EINTR);
    return outcome;
}

bool hasNul(const std::string& text) {
    return text.find('\0') != std::string::npos;
}

/// The texts of an argument or environment list, with the pointers that exec wants to them.
class TextList {
  public:
    void add(std::string text) { texts_.push_back(std::move(text)); }

    bool isValid() const { return std::none_of(texts_.begin(), texts_.end(), hasNul); }

    /// Ends with a null pointer; valid until the next add.
    char** pointers() {
        pointers_.clear();
        for (std::string& text : texts_) pointers_.push_back(text.data());
        pointers_.push_back(nullptr);
        return pointers_.data();
    }

  private:
    std::vector<std::string> texts_;
    std::vector<char*> pointers_;
};

TextList argumentList(const ChildLaunch& launch) {
    TextList list;
    list.add(launch.executable.native());
    for (const std::string& argument : launch.arguments) list.add(argument);
    return list;
}

TextList environmentList(const ChildLaunch& launch) {
    TextList list;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const std::string_view name = text.substr(0, text.find('='));
        const bool replaced =
            std::any_of(launch.environment.begin(), launch.environment.end(),
                        [&](const auto& variable) { return variable.first == name; });
        if (!replaced) list.add(std::string(text));
    }
    for (const auto& [name, value] : launch.environment)
        list.add(std::string(name).append("=").append(value));
    return list;
}

/// A child that was started but cannot be watched must not live on. ESRCH says that it is gone.
void giveUp(pid_t pid, int openError) {
    if (openError == ESRCH) return;
    ::kill(-pid, SIGKILL);
    while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
}

}  // namespace

std::variant<ChildProcess, LaunchFailure> ChildProcess::spawn(const ChildLaunch& launch) {
    TextList arguments = argumentList(launch);
    TextList environment = environmentList(launch);
    if (!arguments.isValid() || !environment.isValid()) return failure(EINVAL);

    Pipe output = makePipe();
    if (!output.readEnd.isOpen() || !makeNonBlocking(output.readEnd)) return failure(errno);
    Pipe error = makePipe();
    if (!error.readEnd.isOpen() || !makeNonBlocking(error.readEnd)) return failure(errno);
    Pipe input;

    // Standard input comes first: a borrowed descriptor can itself have the number 1 or 2.
    SpawnPlan plan;
    const auto* borrowed = std::get_if<const FileDescriptor*>(&launch.standardInput);
    if (std::holds_alternative<PipeInput>(launch.standardInput)) {
        input = makePipe();
        if (!input.readEnd.isOpen()) return failure(errno);
        plan.duplicate(input.readEnd, STDIN_FILENO);
    } else if (borrowed != nullptr && *borrowed != nullptr) {
        plan.duplicate(**borrowed, STDIN_FILENO);
    } else {
        plan.openNullDevice(STDIN_FILENO);
    }
    plan.duplicate(output.writeEnd, STDOUT_FILENO);
    plan.duplicate(error.writeEnd, STDERR_FILENO);
    plan.closeFrom(STDERR_FILENO + 1);

    pid_t pid = -1;
    if (const int spawnError = plan.carryOut(pid, launch.executable.c_str(), arguments.pointers(),
                                             environment.pointers())) {
        return failure(spawnError);
    }
    FileDescriptor pidfd(openPidfd(pid));
    if (!pidfd.isOpen()) {
        const int openError = errno;
        giveUp(pid, openError);
        return failure(openError);
    }
    ChildProcess child(pid, std::move(pidfd));
    child.standardInput_ = std::move(input.writeEnd);
    child.inputReader_ = std::move(input.readEnd);
    child.standardOutput_ = std::move(output.readEnd);
    child.standardError_ = std::move(error.readEnd);
    return child;
}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
    if (this != &other) {
        end();
        pid_ = other.pid_;
        pidfd_ = std::move(other.pidfd_);
        standardInput_ = std::move(other.standardInput_);
        inputReader_ = std::move(other.inputReader_);
        standardOutput_ = std::move(other.standardOutput_);
        standardError_ = std::move(other.standardError_);
        exitCode_ = other.exitCode_;
    }
    return *this;
}

ChildProcess::~ChildProcess() {
    end();
}

// The end is only looked at: a child that is reaped gives its number back.
bool ChildProcess::running() {
    if (exitCode_ || !pidfd_.isOpen()) return false;
    siginfo_t info{};
    if (waitOn(pidfd_, info, WNOHANG | WNOWAIT) != 0) {
        exitCode_ = -1;
    } else if (info.si_pid != 0) {
        exitCode_ = info.si_code == CLD_EXITED ? info.si_status : 128 + info.si_status;
    }
    return !exitCode_;
}

bool ChildProcess::waitForExit(MonotonicClock::duration limit) {
    const auto deadline = MonotonicClock::now() + limit;
    while (running()) {
        pollfd ending{.fd = pidfd_.number(), .events = POLLIN, .revents = 0};
        if (pollUntil({&ending, 1}, deadline) == 0) return !running();
    }
    return true;
}

void ChildProcess::signal(int number) {
    running();
    // Where somebody else has reaped the child, its number can be another's.
    if (!pidfd_.isOpen() || exitCode_ == -1) return;
    // A child that went over to another group is reached alone.
    if (::kill(-pid_, number) != 0) sendSignal(pidfd_, number);
}

void ChildProcess::end() noexcept {
    if (!pidfd_.isOpen()) return;
    kill();
    siginfo_t info{};
    if (waitForExit(reapingTime)) {
        waitOn(pidfd_, info, WNOHANG);
        return;
    }
    try {
        std::thread([left = std::move(pidfd_)] {
            siginfo_t late{};
            waitOn(left, late, 0);
        }).detach();
    } catch (const std::system_error&) {
        // No thread to be had: the kernel keeps the child's number until this process ends.
    }
}

}  // namespace vantry
