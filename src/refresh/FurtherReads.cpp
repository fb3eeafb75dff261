#include "refresh/FurtherReads.h"

namespace vantry {

void FurtherReads::stop() {
    isRunning_ = false;
    isOtherNetwork_ = false;
    resetsAt_.reset();
    for (auto* timer : {&retryTimer_, &resetTimer_, &soonTimer_, &soonAgainTimer_}) timer->reset();
}

void FurtherReads::fullReadBegins() {
    retryTimer_.reset();
    retryState_.reset();
}

void FurtherReads::retryQuotaIfMissing() {
    if (!isRunning_) return;
    retryTimer_.reset();
    if (const auto delay = retryState_.nextDelay(services_.shown(), services_.loop.now())) {
        retryTimer_ = services_.loop.after(*delay, [this] {
            retryTimer_.reset();
            services_.readQuota();
        });
    }
}

void FurtherReads::awaitQuotaReset() {
    constexpr double grace = 1;  // seconds; the service's clock and ours are not the same
    std::optional<Date> next;
    if (const RuntimeUsageSnapshot* shown = services_.shown()) {
        for (const auto& window : {shown->snapshot.primary, shown->snapshot.secondary}) {
            const auto resetsAt = window ? window->resetsAt : std::nullopt;
            if (resetsAt && *resetsAt > services_.loop.now() && !(next && *next <= *resetsAt)) {
                next = resetsAt;
            }
        }
    }
    if (!isRunning_ || next == resetsAt_) return;
    resetsAt_ = next;
    resetTimer_.reset();
    if (!next) return;
    resetTimer_ = services_.loop.at(*next + grace, [this] {
        resetsAt_.reset();
        resetTimer_.reset();
        services_.readQuota();
    });
}

void FurtherReads::machineDidWake() {
    soonAgainTimer_.reset();
    readSoon();
}

void FurtherReads::networkDidChange() {
    isOtherNetwork_ = true;
    readOverOtherNetwork();
}

void FurtherReads::readOverOtherNetwork() {
    const RuntimeUsageSnapshot* shown = services_.shown();
    if (!isOtherNetwork_ || shown == nullptr || services_.isAskingAccount()) return;
    const UsageSnapshot& snapshot = shown->snapshot;
    const bool hasFailed = snapshot.readerState.appServer == AppServerReadState::failed ||
                           snapshot.officialUsageReadStatus == OfficialUsageReadStatus::failed;
    if (hasFailed) readSoon();
}

void FurtherReads::readSoon() {
    if (!isRunning_ || soonTimer_ || soonAgainTimer_) return;
    soonTimer_ = services_.loop.after(soon, [this] {
        soonTimer_.reset();
        soonAgainTimer_ = services_.loop.after(soonAgain, [this] {
            soonAgainTimer_.reset();
            readOverOtherNetwork();
        });
        services_.readEverything();
    });
}

}  // namespace vantry
