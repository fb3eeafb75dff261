#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "official/QuotaWindow.h"
#include "records/RuntimeUsageSnapshot.h"

namespace vantry {

/// What a menu shows of one runtime at one moment.
struct RuntimeMenuSummary {
    RuntimeScope scope = RuntimeScope::codex;
    std::string displayName;
    RuntimeMenuStatus status = RuntimeMenuStatus::unavailable;
    RuntimeQuotaWindowKind quotaWindowKind = RuntimeQuotaWindowKind::sevenDay;
    std::optional<double> quotaRemainingPercent;  ///< 0...100; only of a window that still runs
    std::optional<Date> quotaResetsAt;            ///< likewise
    std::optional<std::int64_t> todayTokens;

    friend bool operator==(const RuntimeMenuSummary&, const RuntimeMenuSummary&) = default;
};

/// The summary at `time`. A window that has run out by then shows its kind and nothing else, and
/// a status that promised it falls to what is left.
RuntimeMenuSummary summary(const RuntimeUsageSnapshot& runtime, Date time = Date::now());

}  // namespace vantry
