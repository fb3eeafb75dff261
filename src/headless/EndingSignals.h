#pragma once

#include <csignal>
#include <initializer_list>
#include <thread>

#include "platform/Cancellation.h"
#include "platform/FileDescriptor.h"

namespace vantry {

/// Takes SIGINT, SIGTERM and SIGHUP, and `others`, out of their usual way for this thread and all
/// that it will make, but for those that the process was started to ignore, as under nohup. They
/// can be read as signalfd(2) says; not open where the system refuses that. Call it before the
/// process has other threads.
FileDescriptor takeEndingSignals(std::initializer_list<int> others = {});

/// Ends the process by the signal, as if it had never been taken, so that whoever waits for the
/// process sees which one it was. Where the kernel does not deliver it, as to the first process of
/// a container, the exit status is 128 plus its number. Nothing else of the process is ended.
[[noreturn]] void endBySignal(int signal);

/// For as long as it lives, the signals that end a program cancel a read first, and end the process
/// when the read's children are gone. One at a time, on the only thread of the process.
class ReadEndedBySignals {
  public:
    ReadEndedBySignals();
    ReadEndedBySignals(const ReadEndedBySignals&) = delete;
    ReadEndedBySignals& operator=(const ReadEndedBySignals&) = delete;
    ~ReadEndedBySignals();

    const Cancellation& cancellation() const { return cancellation_; }

  private:
    void listen() const;

    const Cancellation cancellation_ = Cancellation::make();
    sigset_t before_{};  ///< the thread's mask
    FileDescriptor signals_;
    FileDescriptor isOver_;
    std::jthread listener_;
};

}  // namespace vantry
