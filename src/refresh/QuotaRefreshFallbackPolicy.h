#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "official/DailyUsageMessages.h"
#include "records/RuntimeUsageSnapshot.h"
#include "refresh/QuotaFallback.h"

/// What of the last good snapshot survives a read that failed or was partial.
///
/// Every read passes through merge() before it is shown. No source replaces or outlives another:
/// quota, official history, local usage and task board each keep their own capture time, their own
/// stale mark and their own words.
namespace vantry::QuotaRefreshFallbackPolicy {

/// The words for a source that is shown from an earlier read.
inline constexpr BilingualText staleQuotaText{.zh = "额度数据暂时陈旧",
                                              .en = "Quota data is temporarily stale"};
inline constexpr BilingualText staleUsageText{.zh = "用量数据暂时陈旧",
                                              .en = "Usage data is temporarily stale"};
inline constexpr BilingualText staleText{.zh = "数据暂时陈旧", .en = "Temporarily stale"};

struct Merge {
    RuntimeUsageSnapshot incoming;                   ///< as it was read
    const RuntimeUsageSnapshot* previous = nullptr;  ///< what is shown; null before the first read
    /// The local usage shown is of the statistics day and zone that `incoming` was read for.
    bool mayReusePreviousLocal = false;
    Date now = Date::now();
};

/// What is to be shown after a read. Cannot fail. Figures bound to an account are taken over only
/// if both sides name the same account; an unknown one inherits nothing. A capture time is never
/// renewed. Without a previous snapshot the read stands as it is. Any thread.
RuntimeUsageSnapshot merge(Merge sides);

/// Each stale source of what is shown at `now` in its own words, quota first. The general words
/// stand for an official history that alone is stale. Capture times play no part.
std::vector<BilingualText> staleExplanations(const RuntimeUsageSnapshot& shown, Date now);

/// Whether the texts tell of a local read that failed. For diagnosis only: what is reused and what
/// is tried again rests on LocalUsageReadStatus and ReaderControlState, never on words.
bool hasLocalReadFailure(const std::vector<std::string>& messages);

}  // namespace vantry::QuotaRefreshFallbackPolicy
