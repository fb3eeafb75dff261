#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/Cancellation.h"
#include "platform/FileDescriptor.h"

namespace vantry {

/// What a helper program wrote before it ended or was stopped.
struct BoundedProcessOutput {
    std::string standardOutput = {};
    std::string standardError = {};

    bool operator==(const BoundedProcessOutput&) const = default;
};

struct BoundedProcessResult {
    enum class Kind {
        success,              ///< ended with an allowed exit code
        timedOut,             ///< had to be stopped at its time limit, whatever else it did
        outputLimitExceeded,  ///< wrote more than the limit, and was stopped for it
        nonZeroExit,          ///< ended with another exit code; 128 + n for a death by signal n
        cancelled,            ///< was stopped, or not started, because nobody wants it any more
        launchFailed,         ///< never ran
    };

    Kind kind = Kind::launchFailed;
    std::int32_t exitCode = 0;         ///< of success and nonZeroExit
    std::size_t limit = 0;             ///< of outputLimitExceeded: bytes, and `output` has as many
    BoundedProcessOutput output = {};  ///< of all but launchFailed
    std::string message = {};          ///< of launchFailed: the system error's text

    bool operator==(const BoundedProcessResult&) const = default;
};

/// Runs helper programs within hard limits: the call returns in bounded time even when the child
/// ignores signals or leaves its pipes to a descendant, and with it whatever the child has started
/// in its process group has ended. It keeps no more output than allowed, and reads both output
/// streams all the time, so that a flood on one cannot block the other.
namespace BoundedProcessRunner {

/// Times are in seconds; a negative one or NaN counts as 0, and a day is the most.
struct Request {
    std::filesystem::path executableURL;  ///< as it stands: no search path is used
    std::vector<std::string> arguments = {};
    /// Variables that replace or join those of this process.
    std::vector<std::pair<std::string, std::string>> environment = {};
    double timeout = 0;              ///< for the child's run, from its start
    std::size_t maxOutputBytes = 0;  ///< for both streams together
    std::set<std::int32_t> allowedExitCodes = {0};
    const FileDescriptor* standardInput = nullptr;  ///< borrowed; absent: the null device
    double terminationGrace = 0.25;                 ///< between SIGTERM and SIGKILL
    double killGrace = 0.25;                        ///< for the end after SIGKILL
    Cancellation cancellation = {};                 ///< stops the child like its time limit
};

/// Blocks the calling thread, so never the one of a user interface: for `timeout`, and beyond it
/// at most `terminationGrace` + 2 * `killGrace` until the child is given up, the larger of
/// `terminationGrace` and 0.25 for the end of its output, `terminationGrace` once more for those
/// that it left behind and that hold its output, and a moment to reap it. Any number of threads may
/// run at the same time.
BoundedProcessResult run(const Request& request);

}  // namespace BoundedProcessRunner

}  // namespace vantry
