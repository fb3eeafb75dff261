#pragma once

#include "platform/FileDescriptor.h"

namespace vantry {

/// A descriptor that becomes readable when an address or a route of the machine changes; closed
/// where the system does not tell.
FileDescriptor openNetworkChanges();

/// Takes what has come off it. Does not block.
void takeNetworkChanges(const FileDescriptor& changes);

/// Seconds that the machine has slept since it was started.
double secondsSlept();

}  // namespace vantry
