#include "records/StatisticsIdentity.h"

namespace vantry {

const StatisticsTimeZonePreference& StatisticsTimeZonePreference::defaultValue() {
    static const StatisticsTimeZonePreference value{
        .selection = StatisticsTimeZoneSelection::system,
        .fixedIdentifier = TimeZone::system().identifier()};
    return value;
}

TimeZone StatisticsTimeZonePreference::resolvedTimeZone(const TimeZone& system) const {
    switch (selection) {
        case StatisticsTimeZoneSelection::system:
            break;
        case StatisticsTimeZoneSelection::utc:
            return TimeZone::utc();
        case StatisticsTimeZoneSelection::fixed:
            return TimeZone::named(fixedIdentifier).value_or(system);
    }
    return system;
}

StatisticsTimeZonePreference StatisticsTimeZonePreference::repaired(const TimeZone& system) const {
    if (selection != StatisticsTimeZoneSelection::fixed || TimeZone::named(fixedIdentifier)) {
        return *this;
    }
    return {.selection = StatisticsTimeZoneSelection::system,
            .fixedIdentifier = system.identifier()};
}

StatisticsIdentity StatisticsIdentity::empty(Date now) {
    const StatisticsTimeZonePreference& preference = StatisticsTimeZonePreference::defaultValue();
    return {.preference = preference,
            .resolvedIdentifier = preference.resolvedTimeZone(TimeZone::system()).identifier(),
            .generation = 0,
            .now = now};
}

}  // namespace vantry
