#pragma once

#include <vector>

#include "platform/Date.h"
#include "presentation/words/Language.h"
#include "records/RuntimeUsageSnapshot.h"

namespace vantry {

/// Each stale source of what is shown at `now` in its own words, quota first. The general words
/// stand for an official history that alone is stale. Capture times play no part.
std::vector<BilingualText> staleExplanations(const RuntimeUsageSnapshot& shown, Date now);

}  // namespace vantry
