#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/FileDescriptor.h"

namespace vantry {

/// Writes requests to a pipe whose reader can die or stop reading at any moment.
///
/// A request is one write of at most the pipe's atomic size, so it arrives whole or not at all, is
/// never mixed with another, never waited for and never retried. No SIGPIPE comes from it, and the
/// process's own handling of that signal is left alone. All functions may be called from any
/// thread.
class AppServerRequestWriter {
  public:
    struct Creation {
        std::unique_ptr<AppServerRequestWriter> writer;  ///< null on failure
        std::error_code error;
    };

    /// Takes the write end of a pipe over and makes it non-blocking. Fails with the system's error,
    /// or with EINVAL if the pipe has no atomic write size.
    static Creation create(FileDescriptor pipe);

    enum class Outcome { written, closed, failed };

    struct WriteResult {
        Outcome outcome = Outcome::failed;
        /// Of a failure: EMSGSIZE for a request above the atomic size, EAGAIN when the reader does
        /// not read, EPIPE when it has closed its end, EIO for a write that was cut short.
        std::error_code error = {};
    };

    /// Writes `request` as it stands, its newline included.
    WriteResult write(std::string_view request);

    /// Closes the pipe, after a write that is under way; every later write finds it closed.
    void close();

  private:
    AppServerRequestWriter(FileDescriptor pipe, std::size_t atomicWriteLimit)
        : pipe_(std::move(pipe)), atomicWriteLimit_(atomicWriteLimit) {}

    std::mutex mutex_;
    FileDescriptor pipe_;  // guarded by mutex_
    const std::size_t atomicWriteLimit_;
};

}  // namespace vantry
