#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/MainLoop.h"

namespace vantry {

/// A loop with a clock of its own, which moves by hand alone: hours pass in a test without waiting.
///
/// What comes due at the same time runs in the order of making. A time that is not a number never
/// comes, and an interval is at least a millisecond. post() and now() may be called from any
/// thread, everything else from the one that turns the loop, and advance(), runPosted() and
/// setWallClock() not from within a handler. Handles may outlive the loop.
class HandCrankedMainLoop : public MainLoop {
  public:
    explicit HandCrankedMainLoop(Date start) : wallClock_(start), anchor_{.wallClock = start} {}

    void post(std::function<void()> work) override;
    [[nodiscard]] TimerHandle after(double seconds, std::function<void()> handler) override;
    [[nodiscard]] TimerHandle every(double seconds, std::function<void()> handler) override;
    [[nodiscard]] TimerHandle at(Date date, std::function<void()> handler) override;
    /// Looked at by runPosted() and advance().
    [[nodiscard]] WatchHandle watchReadable(int descriptor, std::function<void()> handler) override;
    Date now() const override { return wallClock_; }

    /// Lets `seconds` pass, not below zero: runs what was posted, then timer by timer what comes
    /// due, each at its own time and with what it posts, in order of time. Both clocks move
    /// together. advance(0) runs what is due already.
    void advance(double seconds);

    /// Runs what was posted, and what that posts, while no time passes.
    void runPosted();

    /// Somebody sets the clock. Time does not pass and nothing runs; dates that are reached by it
    /// run at the next advance().
    void setWallClock(Date date);

  private:
    struct Entry;
    struct EntryTimer;
    struct Readable;
    struct ReadableWatch;
    // The wall clock runs along with the monotonic one from here on.
    struct Anchor {
        double monotonic = 0;
        Date wallClock;
    };

    TimerHandle add(Entry entry);
    std::shared_ptr<Entry> nextUntil(double end);
    double dueTime(const Entry& entry) const;
    void moveTo(double monotonic);
    void run(const std::shared_ptr<Entry>& entry);

    double monotonic_ = 0;  ///< seconds
    std::atomic<Date> wallClock_;
    Anchor anchor_;
    std::vector<std::weak_ptr<Entry>> entries_;  ///< in the order of making
    std::vector<std::weak_ptr<Readable>> readables_;
    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;  ///< under mutex_
};

}  // namespace vantry
