#include "platform/Iso8601.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <fmt/format.h>

namespace vantry {

namespace {
constexpr double yearZero = -62'167'219'200.0;         // 0000-01-01T00:00:00Z
constexpr double yearTenThousand = 253'402'300'800.0;  // 10000-01-01T00:00:00Z
}  // namespace

std::optional<std::string> iso8601Text(Date date) {
    using namespace std::chrono;
    const double whole = std::floor(date.secondsSince1970());
    if (!(whole >= yearZero && whole < yearTenThousand)) return std::nullopt;
    const sys_seconds instant{seconds(static_cast<std::int64_t>(whole))};
    const auto midnight = floor<days>(instant);
    const year_month_day day(midnight);
    const hh_mm_ss time(instant - midnight);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(day.year()),
                       static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                       time.hours().count(), time.minutes().count(), time.seconds().count());
}

namespace {

/// Takes a text apart from its front; after the first piece that does not fit, nothing does.
class Cursor {
  public:
    explicit Cursor(std::string_view text) : rest_(text) {}

    /// Exactly `digits` decimal digits.
    int number(std::size_t digits) {
        int value = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            const int digit = i < rest_.size() ? rest_[i] - '0' : -1;
            if (digit < 0 || digit > 9) good_ = false;
            value = value * 10 + digit;
        }
        rest_.remove_prefix(std::min(digits, rest_.size()));
        return value;
    }

    bool take(char expected) {
        if (!rest_.starts_with(expected)) return false;
        rest_.remove_prefix(1);
        return true;
    }

    void require(char expected) { good_ = take(expected) && good_; }

    /// What stands behind a decimal point, at least one digit.
    double fraction() {
        double value = 0;
        double place = 1;
        std::size_t digits = 0;
        for (; digits < rest_.size() && rest_[digits] >= '0' && rest_[digits] <= '9'; ++digits) {
            value = value * 10 + (rest_[digits] - '0');
            place *= 10;
        }
        good_ = good_ && digits > 0 && digits <= 18;
        rest_.remove_prefix(digits);
        return value / place;
    }

    void fail() { good_ = false; }
    bool isDone() const { return good_ && rest_.empty(); }

  private:
    std::string_view rest_;
    bool good_ = true;
};

// Seconds east of UTC.
int offsetSeconds(Cursor& cursor) {
    if (cursor.take('Z')) return 0;
    const bool isEast = cursor.take('+');
    if (!isEast) cursor.require('-');
    const int hours = cursor.number(2);
    cursor.take(':');
    const int minutes = cursor.number(2);
    if (hours > 23 || minutes > 59) cursor.fail();
    return (isEast ? 1 : -1) * (hours * 3600 + minutes * 60);
}

}  // namespace

std::optional<Date> iso8601Date(std::string_view text) {
    using namespace std::chrono;
    Cursor cursor(text);
    const int yearNumber = cursor.number(4);
    cursor.require('-');
    const int monthNumber = cursor.number(2);
    cursor.require('-');
    const int dayNumber = cursor.number(2);
    cursor.require('T');
    const int hour = cursor.number(2);
    cursor.require(':');
    const int minute = cursor.number(2);
    cursor.require(':');
    const int second = cursor.number(2);
    const double fraction = cursor.take('.') ? cursor.fraction() : 0;
    const int offset = offsetSeconds(cursor);
    if (!cursor.isDone() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
    const year_month_day day{year(yearNumber), month(static_cast<unsigned>(monthNumber)),
                             std::chrono::day(static_cast<unsigned>(dayNumber))};
    if (!day.ok()) return std::nullopt;
    const auto days = sys_days(day).time_since_epoch().count();
    const std::int64_t seconds = std::int64_t{days} * 86'400 + hour * 3600 + minute * 60 + second;
    return Date(static_cast<double>(seconds - offset) + fraction);
}

}  // namespace vantry
