#pragma once

#include <string>
#include <string_view>

#include "records/StatisticsIdentity.h"

namespace vantry {

/// "%04d-%02d-%02d" of the date in the calendar. A date without a day gives zeros.
std::string localDayKey(Date date, const Calendar& calendar);

/// The zone and the one clock value of a batch of statistics. Every calculator of the batch takes
/// its days from here and never asks the clock. An immutable value; any thread.
class StatisticsContext {
  public:
    /// The preference is repaired against `systemTimeZone` first.
    explicit StatisticsContext(const StatisticsTimeZonePreference& preference,
                               Date now = Date::now(),
                               const TimeZone& systemTimeZone = TimeZone::system());

    const StatisticsTimeZonePreference& preference() const { return preference_; }
    const TimeZone& timeZone() const { return timeZone_; }
    const std::string& resolvedIdentifier() const { return timeZone_.identifier(); }
    Date now() const { return now_; }

    /// A new calendar each time: it belongs to the thread that asked. Bulk work takes it once and
    /// calls localDayKey() per event.
    Calendar calendar() const { return Calendar(timeZone_); }

    std::string dayKey(Date date) const { return localDayKey(date, calendar()); }
    std::string currentDayKey() const { return dayKey(now_); }

    /// The date itself where it has no day.
    Date startOfDay(Date date) const { return calendar().startOfDay(date).value_or(date); }

    /// The Gregorian calendar of the zone with that identifier, or of the fallback zone where no
    /// such zone is known.
    static Calendar calendar(std::string_view resolvedIdentifier, const TimeZone& fallbackTimeZone);

    friend bool operator==(const StatisticsContext&, const StatisticsContext&) = default;

  private:
    StatisticsTimeZonePreference preference_;
    TimeZone timeZone_;
    Date now_;
};

}  // namespace vantry
