#pragma once

#include <chrono>
#include <memory>

namespace vantry {

/// How long a read's children are waited for once it is cancelled: longer than they may take to
/// follow SIGTERM and then SIGKILL.
constexpr auto childrenEndingTime = std::chrono::seconds(2);

/// Lets somebody end a read from outside, and wait until what the read has started is gone.
///
/// Copies stand for the same read. A default one cannot be cancelled and costs nothing. Any thread.
class Cancellation {
  public:
    Cancellation() = default;

    /// One that can be cancelled. Where the system gives no descriptor for it, a read that waits
    /// for a child notices at its own time limit alone.
    static Cancellation make();

    /// From now on no child is started, and those that run are being ended. For good.
    void cancel() const;
    bool isCancelled() const;

    /// For poll(2): readable from cancel() on; -1, which poll skips, where that cannot be told.
    int descriptor() const;

    /// Stands for one child from before its start until after its end. Whoever holds one asks
    /// isCancelled() before the start, so that a child is either not started or waited for.
    class Hold {
      public:
        explicit Hold(const Cancellation& cancellation);
        Hold(const Hold&) = delete;
        Hold& operator=(const Hold&) = delete;
        ~Hold();

      private:
        std::shared_ptr<struct CancellationState> state_;
    };

    /// Waits until nothing is held. False when that takes longer than `limit`.
    bool waitUntilNothingIsHeld(std::chrono::milliseconds limit) const;

  private:
    std::shared_ptr<struct CancellationState> state_;
};

}  // namespace vantry
