#pragma once

#include <functional>
#include <memory>

#include "platform/Date.h"

namespace vantry {

/// The loop of the thread that owns a program's state: work that other threads hand over, and
/// timers. All that it calls runs on the one thread that turns it.
class MainLoop {
  public:
    /// A timer runs as long as its handle lives. The handle belongs to the loop's thread and may
    /// be given up from within its own handler.
    class Timer {
      public:
        virtual ~Timer() = default;
    };
    using TimerHandle = std::unique_ptr<Timer>;

    /// A watched descriptor. Ends with its handle, like a timer.
    class Watch {
      public:
        virtual ~Watch() = default;
    };
    using WatchHandle = std::unique_ptr<Watch>;

    virtual ~MainLoop() = default;

    /// Runs `work` on the loop's thread, in the order of the calls. Any thread.
    virtual void post(std::function<void()> work) = 0;

    /// Calls `handler` once, `seconds` from now on a clock that only goes forward and goes on while
    /// the machine sleeps: what came due meanwhile runs on waking up. At once for zero and less.
    /// The loop's thread.
    [[nodiscard]] virtual TimerHandle after(double seconds, std::function<void()> handler) = 0;

    /// Calls `handler` every `seconds` of that clock. Ticks that were missed are not made up for.
    [[nodiscard]] virtual TimerHandle every(double seconds, std::function<void()> handler) = 0;

    /// Calls `handler` once when the wall clock has reached `date`, however the clock is moved
    /// meanwhile and whether or not the machine slept.
    [[nodiscard]] virtual TimerHandle at(Date date, std::function<void()> handler) = 0;

    /// Calls `handler` as long as `descriptor` has something to read, its end and an error
    /// included. The descriptor stays the caller's and stays open as long as the handle lives; one
    /// that is closed already never has anything. The loop's thread.
    [[nodiscard]] virtual WatchHandle watchReadable(int descriptor,
                                                    std::function<void()> handler) = 0;

    /// The wall clock.
    virtual Date now() const = 0;
};

}  // namespace vantry
