#pragma once

#include <cstdint>
#include <optional>

namespace vantry {

/// The reads of the usage store, the most urgent first.
enum class PendingRefreshWork : std::uint8_t { full, quota, localUsage, taskBoard };

/// The reads that wait for the running one to end, each at most once.
struct PendingRefreshes {
    bool hasPendingRefresh = false;
    bool hasPendingQuotaRefresh = false;
    bool hasPendingLocalUsageRefresh = false;
    bool hasPendingTaskBoardRefresh = false;

    void add(PendingRefreshWork work) { flag(work) = true; }

    /// The most urgent one, which then waits no more.
    std::optional<PendingRefreshWork> takeNextPendingRefresh() {
        using enum PendingRefreshWork;
        for (const PendingRefreshWork work : {full, quota, localUsage, taskBoard}) {
            if (flag(work)) {
                flag(work) = false;
                return work;
            }
        }
        return std::nullopt;
    }

    friend bool operator==(const PendingRefreshes&, const PendingRefreshes&) = default;

  private:
    bool& flag(PendingRefreshWork work) {
        switch (work) {
            case PendingRefreshWork::full:
                return hasPendingRefresh;
            case PendingRefreshWork::quota:
                return hasPendingQuotaRefresh;
            case PendingRefreshWork::localUsage:
                return hasPendingLocalUsageRefresh;
            case PendingRefreshWork::taskBoard:
                break;
        }
        return hasPendingTaskBoardRefresh;
    }
};

/// Which read runs, and which wait for it. One read runs at a time.
class ReadQueue {
  public:
    /// Whether a read of that lane may begin. If not, it waits where the caller wants that; local
    /// usage and the task board, whose timers come again soon, do not wait for themselves.
    bool mayBegin(PendingRefreshWork lane, bool waits) {
        if (!running_) return true;
        const bool comesAgain =
            lane == PendingRefreshWork::localUsage || lane == PendingRefreshWork::taskBoard;
        if (waits && !(comesAgain && running_ == lane)) waiting.add(lane);
        return false;
    }

    void begin(PendingRefreshWork lane) { running_ = lane; }
    void end() { running_.reset(); }
    std::optional<PendingRefreshWork> running() const { return running_; }

    PendingRefreshes waiting;

  private:
    std::optional<PendingRefreshWork> running_;
};

}  // namespace vantry
