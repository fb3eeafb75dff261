#pragma once

#include "platform/UserDefaults.h"
#include "records/StatisticsIdentity.h"

/// Where the choice of the statistics zone is kept. Any thread.
namespace vantry::StatisticsTimeZonePreferenceStore {

/// The stored choice, repaired: an unknown selection is `system`, a missing identifier that of
/// the system zone, and a fixed zone that nobody knows becomes the system zone. A repaired value
/// is written back at once, both keys together.
StatisticsTimeZonePreference load(UserDefaults& defaults, const TimeZone& system);

/// Repairs against the machine's zone, then stores; read back at once.
void save(const StatisticsTimeZonePreference& preference, UserDefaults& defaults);

}  // namespace vantry::StatisticsTimeZonePreferenceStore
