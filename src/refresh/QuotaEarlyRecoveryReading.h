#pragma once

#include <optional>
#include <string>

#include "records/RuntimeUsageSnapshot.h"
#include "refresh/QuotaEarlyRecoveryDetector.h"

namespace vantry {

/// One Codex runtime before and after it was merged with what was shown.
struct QuotaEarlyRecoverySources {
    const RuntimeUsageSnapshot& merged;
    const RuntimeUsageSnapshot& raw;
    std::optional<std::string> resolvedPlanType;
    Date now;
};

/// What the read says to the detector. It is fresh only when the quota that is shown is the very
/// one that was read: neither a fallback nor an older batch ever is.
QuotaEarlyRecoveryRead quotaEarlyRecoveryRead(const QuotaEarlyRecoverySources& sources);

}  // namespace vantry
