#include "io/AppServerRequestWriter.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace vantry {

namespace {

std::error_code systemError(int number) {
    return {number, std::generic_category()};
}

std::error_code lastError() {
    return systemError(errno != 0 ? errno : EIO);
}

/// Keeps the SIGPIPE of a failed write from the process for the length of a scope, on the calling
/// thread, to which the kernel sends it. One that was pending before is somebody else's and stays.
class PipeSignalShield {
  public:
    PipeSignalShield() {
        sigset_t pending;
        ::sigpending(&pending);
        wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
        ::sigemptyset(&pipeSignal_);
        ::sigaddset(&pipeSignal_, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &pipeSignal_, &before_);
    }
    PipeSignalShield(const PipeSignalShield&) = delete;
    PipeSignalShield& operator=(const PipeSignalShield&) = delete;
    ~PipeSignalShield() {
        if (!wasPending_) {
            const timespec now{};
            while (::sigtimedwait(&pipeSignal_, nullptr, &now) < 0 && errno == EINTR) {
            }
        }
        ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

  private:
    sigset_t pipeSignal_{};
    sigset_t before_{};
    bool wasPending_ = false;
};

}  // namespace

AppServerRequestWriter::Creation AppServerRequestWriter::create(FileDescriptor pipe) {
    const int flags = ::fcntl(pipe.number(), F_GETFL);
    if (flags < 0 || ::fcntl(pipe.number(), F_SETFL, flags | O_NONBLOCK) != 0) {
        return {.writer = nullptr, .error = lastError()};
    }
    const long limit = ::fpathconf(pipe.number(), _PC_PIPE_BUF);
    if (limit <= 0) return {.writer = nullptr, .error = systemError(EINVAL)};
    return {.writer = std::unique_ptr<AppServerRequestWriter>(
                new AppServerRequestWriter(std::move(pipe), static_cast<std::size_t>(limit))),
            .error = {}};
}

AppServerRequestWriter::WriteResult AppServerRequestWriter::write(std::string_view request) {
    const std::scoped_lock lock(mutex_);
    if (!pipe_.isOpen()) return {.outcome = Outcome::closed};
    if (request.size() > atomicWriteLimit_) return {.error = systemError(EMSGSIZE)};
    const PipeSignalShield shield;
    const ssize_t count = ::write(pipe_.number(), request.data(), request.size());
    if (count < 0) return {.error = lastError()};
    if (static_cast<std::size_t>(count) != request.size()) return {.error = systemError(EIO)};
    return {.outcome = Outcome::written};
}

void AppServerRequestWriter::close() {
    const std::scoped_lock lock(mutex_);
    pipe_.close();
}

}  // namespace vantry
