#pragma once

#include <optional>
#include <string>

#include "platform/Date.h"

namespace vantry {

/// "2026-03-01T12:00:00Z": UTC, whole seconds, the fraction cut off. Empty for a date that is not
/// finite or lies outside the years 0 to 9999.
std::optional<std::string> iso8601Text(Date date);

}  // namespace vantry
