#include "statistics/StatisticsContext.h"

#include <array>
#include <cstdio>

namespace vantry {

std::string localDayKey(Date date, const Calendar& calendar) {
    const CalendarDay day = calendar.day(date).value_or(CalendarDay{});
    std::array<char, 40> text{};
    const int length =
        std::snprintf(text.data(), text.size(), "%04d-%02d-%02d", day.year, day.month, day.day);
    return {text.data(), static_cast<std::size_t>(length)};
}

StatisticsContext::StatisticsContext(const StatisticsTimeZonePreference& preference, Date now,
                                     const TimeZone& systemTimeZone)
    : preference_(preference.repaired(systemTimeZone)),
      timeZone_(preference_.resolvedTimeZone(systemTimeZone)),
      now_(now) {}

Calendar StatisticsContext::calendar(std::string_view resolvedIdentifier,
                                     const TimeZone& fallbackTimeZone) {
    return Calendar(TimeZone::named(resolvedIdentifier).value_or(fallbackTimeZone));
}

}  // namespace vantry
