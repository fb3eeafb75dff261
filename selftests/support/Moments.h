#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Environment.h"
#include "platform/Iso8601.h"
#include "statistics/StatisticsContext.h"

namespace vantry {

/// The moment that the text names, which has to be one.
inline Date at(std::string_view text) {
    return iso8601Date(text).value();
}

inline StatisticsTimeZonePreference fixedZone(const std::string& identifier) {
    return {.selection = StatisticsTimeZoneSelection::fixed, .fixedIdentifier = identifier};
}

/// A batch with the days of that zone, on a machine in UTC.
inline StatisticsContext contextIn(const std::string& zone, Date now = Date(0)) {
    return StatisticsContext(fixedZone(zone), now, TimeZone::utc());
}

/// An environment of nothing but these variables.
inline Environment environmentOf(std::map<std::string, std::string> variables) {
    return [variables = std::move(variables)](const char* name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
}

}  // namespace vantry
