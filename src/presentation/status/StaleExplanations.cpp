#include "presentation/status/StaleExplanations.h"

#include "presentation/status/RuntimeMenuSummary.h"
#include "presentation/words/StatusWords.h"

namespace vantry {

std::vector<BilingualText> staleExplanations(const RuntimeUsageSnapshot& shown, Date now) {
    std::vector<BilingualText> texts;
    const UsageSnapshot& snapshot = shown.snapshot;
    if (summary(shown, now).status == RuntimeMenuStatus::stale) texts.push_back(staleQuotaText);
    if (snapshot.local && snapshot.localUsageIsStale) texts.push_back(staleUsageText);
    const bool isHistoryStale =
        (snapshot.officialLifetimeTokens && snapshot.officialLifetimeIsStale) ||
        (snapshot.cloudDailyBuckets && snapshot.cloudDailyUsageIsStale);
    if (texts.empty() && isHistoryStale) texts.push_back(staleText);
    return texts;
}

}  // namespace vantry
