#pragma once

#include <functional>

#include "platform/MainLoop.h"
#include "records/RuntimeUsageSnapshot.h"
#include "refresh/QuotaRefreshRetryState.h"

namespace vantry {

/// The reads that follow from what was read and from what happens to the machine: retries of one
/// that brought no quota, one when a window begins anew, and one soon after the machine woke or
/// came to another network. The main loop's thread.
class FurtherReads {
  public:
    struct Services {
        MainLoop& loop;
        std::function<const RuntimeUsageSnapshot*()> shown;  ///< null where there is no runtime
        std::function<bool()> isAskingAccount;
        std::function<void()> readQuota;
        std::function<void()> readEverything;
    };

    explicit FurtherReads(Services services) : services_(std::move(services)) {}

    /// Until start() nothing is waited for.
    void start() { isRunning_ = true; }
    void stop();

    /// To be called when a full read begins, which takes the place of a pending retry.
    void fullReadBegins();
    /// To be called when the account is asked, over the network that there is now.
    void accountIsAsked() { isOtherNetwork_ = false; }

    void retryQuotaIfMissing();
    void awaitQuotaReset();

    void machineDidWake();
    /// Any number of changes lead to one read, and only where the account could not be had.
    void networkDidChange();
    /// To be called at the end of a read too: the network may have changed meanwhile.
    void readOverOtherNetwork();

  private:
    static constexpr double soon = 2.0;        // seconds; a network needs as long
    static constexpr double soonAgain = 10.0;  // seconds

    void readSoon();

    Services services_;
    bool isRunning_ = false;
    QuotaRefreshRetryState retryState_;
    MainLoop::TimerHandle retryTimer_;
    std::optional<Date> resetsAt_;  ///< what the next timer waits for
    MainLoop::TimerHandle resetTimer_;
    MainLoop::TimerHandle soonTimer_;
    MainLoop::TimerHandle soonAgainTimer_;  ///< as long as it runs nothing is read soon
    bool isOtherNetwork_ = false;           ///< since the account was last asked
};

}  // namespace vantry
