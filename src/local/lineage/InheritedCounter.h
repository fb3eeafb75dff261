#pragma once

#include "local/lineage/SessionDeltaMemo.h"
#include "local/lineage/SessionFamilies.h"

namespace vantry {

/// Logs that copy nothing of their parent's history and go on counting where it stood.
///
/// What such a log inherited is proved wherever it can be: the value from which it goes on has to
/// be a reading that its ancestors really show before the point at which it left them.
namespace InheritedCounter {

struct FirstCost {
    TokenBreakdown tokens;
    bool isProved = true;  ///< else it is what the log's own first reading says of itself
};

/// What the first event of the log itself cost: all it shows where the counter starts at zero,
/// nothing where it only repeats what was inherited.
FirstCost firstCost(const LoadedSessionUsage& session, const SessionFamilies& families,
                    SessionDeltaMemo& memo);

}  // namespace InheritedCounter

}  // namespace vantry
