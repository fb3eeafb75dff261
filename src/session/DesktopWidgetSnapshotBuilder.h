#pragma once

#include <optional>

#include "records/RuntimeUsageSnapshot.h"
#include "session/DesktopWidgetSnapshot.h"
#include "statistics/StatisticsContext.h"

namespace vantry {

/// The widget's record of what is published, at the context's moment; nothing without a Codex
/// runtime. Any thread.
///
/// The record is of the context's day. Token figures that were published for another day, or in
/// another zone, are not known for that day and stay out of it.
std::optional<DesktopWidgetSnapshot> makeDesktopWidgetSnapshot(
    const MultiRuntimeUsageSnapshot& published, const StatisticsContext& statistics);

}  // namespace vantry
