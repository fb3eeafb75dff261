#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Date.h"

namespace vantry {

/// "2026-03-01T12:00:00Z": UTC, whole seconds, the fraction cut off. Empty for a date that is not
/// finite or lies outside the years 0 to 9999.
std::optional<std::string> iso8601Text(Date date);

/// Reads "2026-03-01T12:00:00.123Z", with or without a fraction, in UTC or with an offset such as
/// "+08:00". Nothing for any other text. Allocates nothing; any thread.
std::optional<Date> iso8601Date(std::string_view text);

}  // namespace vantry
