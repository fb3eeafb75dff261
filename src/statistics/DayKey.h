#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Calendar.h"

/// A day by itself, of no zone, and its text "2026-09-05".
namespace vantry {

/// The day, to count with; nothing for what is no day, such as 30 February.
std::optional<std::chrono::sys_days> countedDay(const CalendarDay& day);

CalendarDay calendarDay(std::chrono::sys_days day);

/// Nothing for what is no day of the years 0 to 9999.
std::optional<std::string> dayKeyOf(const CalendarDay& day);

/// Nothing for a text that is not the key of a day.
std::optional<CalendarDay> dayOfKey(std::string_view dayKey);

}  // namespace vantry
