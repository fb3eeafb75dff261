#pragma once

#include <atomic>
#include <chrono>
#include <functional>

#include "platform/Cancellation.h"
#include "platform/WorkQueue.h"

namespace vantry {

/// Reads one after the other on a thread of their own, the desktop record on another, so that a
/// long read does not hold it up. Knows whether a task is left. One thread hands the work over.
class BackgroundWork {
  public:
    static constexpr auto endingTime = std::chrono::milliseconds(300);

    void read(std::function<void()> task) { run(reads_, std::move(task)); }
    void write(std::function<void()> task) { run(writes_, std::move(task)); }

    /// Ends the reads and the children that they wait for. False where a read is still running: it
    /// then touches only files that are replaced whole, and the process must be left without
    /// waiting for it.
    bool end();

    const Cancellation& cancellation() const { return cancellation_; }

  private:
    void run(WorkQueue& queue, std::function<void()> task);

    const Cancellation cancellation_ = Cancellation::make();
    std::atomic<int> open_ = 0;
    WorkQueue reads_{1};
    WorkQueue writes_{1};
};

}  // namespace vantry
