#pragma once

#include <cstdint>
#include <string>

#include "platform/Calendar.h"
#include "platform/RecordFields.h"

namespace vantry {

enum class StatisticsTimeZoneSelection : std::uint8_t { system, utc, fixed };

template <>
struct EnumTexts<StatisticsTimeZoneSelection> {
    static constexpr std::array table{
        std::pair{StatisticsTimeZoneSelection::system, std::string_view("system")},
        std::pair{StatisticsTimeZoneSelection::utc, std::string_view("utc")},
        std::pair{StatisticsTimeZoneSelection::fixed, std::string_view("fixed")}};
};

/// The user's choice of the zone in which days are counted.
struct StatisticsTimeZonePreference {
    StatisticsTimeZoneSelection selection = StatisticsTimeZoneSelection::system;
    /// The zone of `fixed`; kept under the other selections, so that switching back finds it.
    std::string fixedIdentifier;

    /// `system` with the identifier of the machine's zone. That zone is found once per process.
    static const StatisticsTimeZonePreference& defaultValue();

    TimeZone resolvedTimeZone(const TimeZone& system) const;

    /// This value, or (`system`, the passed zone) for a `fixed` choice that names no known zone.
    StatisticsTimeZonePreference repaired(const TimeZone& system) const;

    friend bool operator==(const StatisticsTimeZonePreference&,
                           const StatisticsTimeZonePreference&) = default;
};

template <>
struct RecordFields<StatisticsTimeZonePreference> {
    using Preference = StatisticsTimeZonePreference;
    static constexpr std::tuple list{field("selection", &Preference::selection),
                                     field("fixedIdentifier", &Preference::fixedIdentifier)};
};

/// Which zone and which switch of the zone a batch of statistics belongs to.
struct StatisticsIdentity {
    StatisticsTimeZonePreference preference;
    std::string resolvedIdentifier;
    std::uint64_t generation = 0;  ///< rises whenever the zone is switched
    Date now;                      ///< capture time

    static StatisticsIdentity empty(Date now);

    friend bool operator==(const StatisticsIdentity&, const StatisticsIdentity&) = default;
};

}  // namespace vantry
