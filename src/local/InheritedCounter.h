#pragma once

#include <optional>

#include "local/SessionDeltaMemo.h"
#include "local/SessionUsageDeduplicator.h"

namespace vantry {

/// Logs that copy nothing of their parent's history and go on counting where it stood.
///
/// What such a log inherited is proved and not guessed: the value from which it goes on has to be a
/// reading that its ancestors really show before the point at which it left them.
namespace InheritedCounter {

/// What the first event of the log itself cost: all it shows where the counter starts at zero,
/// nothing where it only repeats what was inherited. Empty if the log says that its counter goes on
/// from another and that cannot be proved.
std::optional<TokenBreakdown> firstCost(const LoadedSessionUsage& session,
                                        const SessionsByThreadId& sessions, SessionDeltaMemo& memo);

}  // namespace InheritedCounter

}  // namespace vantry
