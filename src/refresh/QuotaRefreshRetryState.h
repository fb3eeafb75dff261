#pragma once

#include <array>
#include <optional>

#include "records/RuntimeUsageSnapshot.h"

namespace vantry {

/// Whether another attempt can bring the quota: not beside a running read, and not without the
/// program that is asked for it.
constexpr bool mayRetryQuota(const ReaderControlState& state) {
    return !state.isLoading && state.appServer != AppServerReadState::executableMissing;
}

/// A short burst of retries after a read without a quota. One burst until a quota is read or a
/// full refresh begins.
struct QuotaRefreshRetryState {
    static constexpr std::array delays{2.0, 5.0, 15.0};  ///< seconds

    int scheduledRetryCount = 0;

    void reset() { scheduledRetryCount = 0; }

    /// Seconds to the next attempt after a read that led to `shown`, which may be null; nothing
    /// when there is no need or no use, or the burst is over.
    std::optional<double> nextDelay(const RuntimeUsageSnapshot* shown, Date now);

    friend bool operator==(const QuotaRefreshRetryState&, const QuotaRefreshRetryState&) = default;
};

}  // namespace vantry
