#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Date.h"
#include "platform/Environment.h"

namespace vantry {

/// A time zone of the IANA database, by its identifier.
class TimeZone {
  public:
    /// Empty if no zone is known by that name.
    static std::optional<TimeZone> named(std::string_view identifier);

    /// Offset 0 from GMT at all times; its identifier is "GMT".
    static TimeZone utc() { return TimeZone("GMT"); }

    /// The machine's zone: the TZ variable, the link /etc/localtime, the name in /etc/timezone;
    /// the first that names a known zone, else utc(). An empty TZ is utc(); a rule such as "JST-9"
    /// names no zone. Reads the file system.
    static TimeZone system(const Environment& environment = processEnvironment);

    const std::string& identifier() const { return identifier_; }

    friend bool operator==(const TimeZone&, const TimeZone&) = default;

  private:
    explicit TimeZone(std::string_view identifier) : identifier_(identifier) {}

    std::string identifier_;
};

struct CalendarDay {
    int year = 0;
    int month = 0;  ///< 1 to 12
    int day = 0;    ///< 1 to 31

    friend bool operator==(const CalendarDay&, const CalendarDay&) = default;
};

/// The Gregorian calendar of one zone. Days have the length that the zone gives them.
///
/// A day found once is kept with its two bounds, the last two months of them, so that the next
/// instant of that day costs a few comparisons. For this reason a calendar belongs to one thread; a
/// copy is independent. Questions about a date that is not finite, or beyond the years of the time
/// zone database's reach (roughly ±100,000), answer empty.
class Calendar {
  public:
    explicit Calendar(const TimeZone& zone);
    Calendar(const Calendar& other);
    Calendar(Calendar&&) noexcept;
    Calendar& operator=(const Calendar& other);
    Calendar& operator=(Calendar&&) noexcept;
    ~Calendar();

    const TimeZone& zone() const;

    std::optional<CalendarDay> day(Date date) const;
    /// 0 to 23.
    std::optional<int> hour(Date date) const;

    /// The first instant of the day: midnight, or the end of the gap where a change of clocks
    /// skips midnight.
    std::optional<Date> startOfDay(Date date) const;

    /// 1 for Sunday to 7 for Saturday.
    std::optional<int> weekday(Date date) const;
    /// 28 to 31.
    std::optional<int> daysInMonth(Date date) const;

    /// The same wall-clock time `days` later, or earlier when negative; a neighbouring time where
    /// the zone skips it. Days that the zone left out are not counted: Apia went from 29 to 31
    /// December 2011, and the second is one day after the first.
    std::optional<Date> addingDays(int days, Date date) const;

    /// The first instant of the day that addingDays() reaches. To step from day to day, ask this:
    /// not every day begins at the wall-clock time at which another does.
    std::optional<Date> startOfDayAdding(int days, Date date) const;

    /// The first instant of the day whose date is `days` later, as weeks need it. Empty for a date
    /// that the zone left out.
    std::optional<Date> startOfDateAdding(int days, Date date) const;

    struct TextForm {
        std::string_view localeIdentifier;  ///< "en_US_POSIX"
        std::string_view pattern;           ///< "yyyy-MM-dd EEE"
    };
    /// The date in the words of the locale. Empty text for a date without a day.
    std::string text(Date date, const TextForm& form) const;

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace vantry
