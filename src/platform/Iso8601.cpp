#include "platform/Iso8601.h"

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

}  // namespace vantry
