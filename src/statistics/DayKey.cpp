#include "statistics/DayKey.h"

#include <fmt/format.h>

#include "platform/Iso8601.h"

namespace vantry {

using std::chrono::sys_days;
using std::chrono::year_month_day;

std::optional<sys_days> countedDay(const CalendarDay& day) {
    if (day.month < 1 || day.day < 1) return std::nullopt;
    const year_month_day date{std::chrono::year(day.year),
                              std::chrono::month(static_cast<unsigned>(day.month)),
                              std::chrono::day(static_cast<unsigned>(day.day))};
    return date.ok() ? std::optional<sys_days>(date) : std::nullopt;
}

CalendarDay calendarDay(sys_days day) {
    const year_month_day date(day);
    return {.year = static_cast<int>(date.year()),
            .month = static_cast<int>(static_cast<unsigned>(date.month())),
            .day = static_cast<int>(static_cast<unsigned>(date.day()))};
}

std::optional<std::string> dayKeyOf(const CalendarDay& day) {
    if (!countedDay(day) || day.year < 0 || day.year > 9999) return std::nullopt;
    return fmt::format("{:04}-{:02}-{:02}", day.year, day.month, day.day);
}

std::optional<CalendarDay> dayOfKey(std::string_view dayKey) {
    const auto midnight = iso8601Date(std::string(dayKey) + "T00:00:00Z");
    if (!midnight) return std::nullopt;
    const std::chrono::seconds seconds(static_cast<std::int64_t>(midnight->secondsSince1970()));
    return calendarDay(std::chrono::floor<std::chrono::days>(std::chrono::sys_seconds(seconds)));
}

}  // namespace vantry
