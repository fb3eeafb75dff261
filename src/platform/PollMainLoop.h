#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

#include "platform/FileDescriptor.h"
#include "platform/MainLoop.h"

namespace vantry {

/// The loop of a program without a toolkit. It waits in poll() and wakes for nothing but work.
///
/// A timer is a kernel timer with a descriptor of its own; after() and every() count the time that
/// the machine slept, so that what came due meanwhile runs on waking up. A time that is not a
/// number never comes, and an interval is at least a millisecond. Whatever cannot be had from the
/// system throws std::system_error. Handles may outlive the loop. An exception of a handler leaves
/// run().
class PollMainLoop : public MainLoop {
  public:
    PollMainLoop();
    PollMainLoop(const PollMainLoop&) = delete;
    PollMainLoop& operator=(const PollMainLoop&) = delete;
    ~PollMainLoop() override;

    /// Turns until stop(). Not from within a handler. The thread that calls is the loop's.
    void run();

    /// Lets run() return after the handler that is running; the next run() takes up what is left.
    /// Stopped before it began, a run ends at once. Any thread.
    void stop();

    void post(std::function<void()> work) override;
    [[nodiscard]] TimerHandle after(double seconds, std::function<void()> handler) override;
    [[nodiscard]] TimerHandle every(double seconds, std::function<void()> handler) override;
    [[nodiscard]] TimerHandle at(Date date, std::function<void()> handler) override;
    Date now() const override;
    [[nodiscard]] WatchHandle watchReadable(int descriptor, std::function<void()> handler) override;

  private:
    struct Source;
    struct SourceTimer;
    struct SourceWatch;
    struct Schedule;

    TimerHandle timer(const Schedule& schedule, std::function<void()> handler);
    void turn();
    void runPosted();
    void wake();

    FileDescriptor wake_;
    std::vector<std::weak_ptr<Source>> sources_;  ///< in the order of making
    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;  ///< under mutex_
    std::atomic<bool> stopRequested_ = false;
};

}  // namespace vantry
