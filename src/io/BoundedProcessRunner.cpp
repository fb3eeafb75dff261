#include "io/BoundedProcessRunner.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <variant>

#include "io/ChildProcess.h"

namespace vantry::BoundedProcessRunner {

namespace {

using Kind = BoundedProcessResult::Kind;
using TimePoint = MonotonicClock::time_point;

constexpr std::size_t chunkBytes = 65'536;
constexpr double shortestDrainSeconds = 0.25;

/// One run, from the started child to the verdict. All of it happens on the caller's thread.
class Run {
  public:
    Run(ChildProcess child, const Request& request)
        : child_(std::move(child)),
          request_(request),
          terminationGrace_(boundedDuration(request.terminationGrace)),
          killGrace_(boundedDuration(request.killGrace)) {}

    BoundedProcessResult finish() {
        awaitEnd();
        awaitOutput();
        return verdict();
    }

  private:
    void awaitEnd() {
        if (endsBefore(MonotonicClock::now() + boundedDuration(request_.timeout))) return;
        timedOut_ = true;
        requestStop();
        if (endsBefore(MonotonicClock::now() + terminationGrace_ + killGrace_)) return;
        child_.kill();
        endsBefore(MonotonicClock::now() + killGrace_);
    }

    /// After the child's end its output can still be held open by a descendant of its own. That is
    /// asked to go, and dies with the handle.
    void awaitOutput() {
        readFor(std::max(terminationGrace_, boundedDuration(shortestDrainSeconds)));
        if (!outputIsOpen() || stopRequested_) return;
        requestStop();
        readFor(terminationGrace_);
    }

    void readFor(MonotonicClock::duration time) {
        const TimePoint deadline = MonotonicClock::now() + time;
        while (outputIsOpen() && MonotonicClock::now() < deadline) {
            readWhenReady({.orEndOfChild = false, .until = deadline});
        }
    }

    BoundedProcessResult verdict() {
        BoundedProcessResult result{.output = std::move(output_)};
        if (cancelled_) {
            result.kind = Kind::cancelled;
        } else if (timedOut_ || child_.running()) {
            result.kind = Kind::timedOut;
        } else if (exceededLimit_) {
            result.kind = Kind::outputLimitExceeded;
            result.limit = request_.maxOutputBytes;
        } else {
            result.exitCode = child_.exitCode().value_or(-1);
            result.kind = request_.allowedExitCodes.contains(result.exitCode) ? Kind::success
                                                                              : Kind::nonZeroExit;
        }
        return result;
    }

    bool endsBefore(TimePoint deadline) {
        while (child_.running()) {
            const TimePoint now = MonotonicClock::now();
            if (killAt_ && now >= *killAt_) {
                child_.kill();
                killAt_.reset();
            }
            if (now >= deadline) return false;
            readWhenReady(
                {.orEndOfChild = true, .until = std::min(deadline, killAt_.value_or(deadline))});
        }
        return true;
    }

    struct Wait {
        bool orEndOfChild;
        TimePoint until;
    };

    /// At most one chunk of each stream, so that the clock is looked at even during a flood.
    void readWhenReady(const Wait& wait) {
        std::array<pollfd, 4> entries{
            pollfd{.fd = child_.standardOutput().number(), .events = POLLIN, .revents = 0},
            pollfd{.fd = child_.standardError().number(), .events = POLLIN, .revents = 0},
            pollfd{.fd = wait.orEndOfChild ? child_.pidfd().number() : -1,
                   .events = POLLIN,
                   .revents = 0},
            pollfd{.fd = cancelled_ ? -1 : request_.cancellation.descriptor(),
                   .events = POLLIN,
                   .revents = 0}};
        pollUntil(entries, wait.until);
        if (entries[3].revents != 0) {
            cancelled_ = true;
            requestStop();
        }
        if (entries[0].revents != 0) readChunk(child_.standardOutput(), output_.standardOutput);
        if (entries[1].revents != 0) readChunk(child_.standardError(), output_.standardError);
    }

    /// A failed read counts as the end of the stream.
    void readChunk(FileDescriptor& stream, std::string& kept) {
        const ssize_t count = ::read(stream.number(), chunk_.data(), chunk_.size());
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) return;
        if (count <= 0) {
            stream.close();
            return;
        }
        keep(std::string_view(chunk_.data(), static_cast<std::size_t>(count)), kept);
    }

    /// Bytes beyond the limit are read and dropped: a child that is being stopped must not block
    /// on a full pipe.
    void keep(std::string_view bytes, std::string& kept) {
        const std::size_t remaining = request_.maxOutputBytes - keptBytes_;
        if (bytes.size() > remaining) {
            bytes = bytes.substr(0, remaining);
            exceededLimit_ = true;
        }
        kept += bytes;
        keptBytes_ += bytes.size();
        if (exceededLimit_) requestStop();
    }

    void requestStop() {
        if (stopRequested_) return;
        stopRequested_ = true;
        child_.terminate();
        killAt_ = MonotonicClock::now() + terminationGrace_;
    }

    bool outputIsOpen() {
        return child_.standardOutput().isOpen() || child_.standardError().isOpen();
    }

    ChildProcess child_;
    const Request& request_;
    const MonotonicClock::duration terminationGrace_;
    const MonotonicClock::duration killGrace_;
    BoundedProcessOutput output_;
    std::size_t keptBytes_ = 0;
    bool timedOut_ = false;
    bool cancelled_ = false;
    bool exceededLimit_ = false;
    bool stopRequested_ = false;
    std::optional<TimePoint> killAt_;
    std::array<char, chunkBytes> chunk_;
};

ChildInput childInput(const FileDescriptor* borrowed) {
    if (borrowed == nullptr) return NullInput{};
    return borrowed;
}

}  // namespace

BoundedProcessResult run(const Request& request) {
    const Cancellation::Hold hold(request.cancellation);
    if (request.cancellation.isCancelled()) return {.kind = Kind::cancelled};
    auto started = ChildProcess::spawn({.executable = request.executableURL,
                                        .arguments = request.arguments,
                                        .environment = request.environment,
                                        .standardInput = childInput(request.standardInput)});
    if (auto* failure = std::get_if<LaunchFailure>(&started)) {
        return {.kind = Kind::launchFailed, .message = std::move(failure->message)};
    }
    return Run(std::get<ChildProcess>(std::move(started)), request).finish();
}

}  // namespace vantry::BoundedProcessRunner
