#pragma once

#include <cstdint>
#include <string>

namespace vantry::corpus {

/// Milliseconds since 1970-01-01T00:00:00Z.
using Millis = std::int64_t;

constexpr Millis second = 1'000;
constexpr Millis minute = 60 * second;
constexpr Millis hour = 60 * minute;
constexpr Millis day = 24 * hour;

/// "2026-03-01", the day in UTC.
std::string dayText(Millis at);

/// "2026-03-01T12:00:00.123Z", as Codex writes it.
std::string timestampText(Millis at);

/// The same instant as a clock two hours east of Greenwich tells it.
std::string offsetTimestampText(Millis at);

/// "2026-03-01T12-00-00", as in the names of logs.
std::string fileTimeText(Millis at);

}  // namespace vantry::corpus
