#pragma once

#include <functional>
#include <string>

#include "platform/MainLoop.h"
#include "refresh/ObserverList.h"
#include "refresh/QuotaEarlyRecoveryDetector.h"
#include "refresh/QuotaEarlyRecoveryReading.h"
#include "refresh/QuotaEarlyRecoveryStateStore.h"

namespace vantry {

/// Lets the detector see each read of the quota, keeps its state, and has a suspected recovery
/// confirmed by another read. The main loop's thread.
class QuotaEarlyRecoveryWatch {
  public:
    struct Services {
        MainLoop& loop;
        UserDefaults defaults;
        std::function<void()> readQuota;  ///< called when a confirmation is due
    };

    /// Takes up the state that is stored.
    explicit QuotaEarlyRecoveryWatch(Services services);

    void observe(const QuotaEarlyRecoverySources& sources);

    /// Ensures that a pending confirmation will be read: the read that was meant for it may have
    /// come to nothing.
    void keepAwaiting();

    /// The account is this one now.
    void turnTo(const std::string& accountIdentity);

    /// Until start() nothing is waited for.
    void start() { isRunning_ = true; }
    void stop();

    /// Tells of each recovery at once.
    [[nodiscard]] Subscription subscribe(
        std::function<void(const QuotaEarlyRecoveryEvent&)> observer) {
        return recoveries_.add(std::move(observer));
    }

  private:
    void confirmAfter(double seconds);

    MainLoop& loop_;
    std::function<void()> readQuota_;
    QuotaEarlyRecoveryStateStore stateStore_;
    QuotaEarlyRecoveryDetector detector_;
    ObserverList<QuotaEarlyRecoveryEvent> recoveries_;
    bool isRunning_ = false;
    MainLoop::TimerHandle confirmationTimer_;
};

}  // namespace vantry
