#include "corpus/Clock.h"

#include <chrono>
#include <fmt/format.h>

namespace vantry::corpus {

namespace {

Millis floorToDay(Millis at) {
    return at / day * day - (at % day < 0 ? day : 0);
}

std::string timeOfDay(Millis at, char separator) {
    const Millis rest = at - floorToDay(at);
    return fmt::format("{:02}{}{:02}{}{:02}", rest / hour, separator, rest / minute % 60, separator,
                       rest / second % 60);
}

std::string withFraction(Millis at) {
    return fmt::format("{}T{}.{:03}", dayText(at), timeOfDay(at, ':'), at - at / second * second);
}

}  // namespace

std::string dayText(Millis at) {
    using namespace std::chrono;
    const year_month_day date(sys_days(days(floorToDay(at) / corpus::day)));
    return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
}

std::string timestampText(Millis at) {
    return withFraction(at) + "Z";
}

std::string offsetTimestampText(Millis at) {
    return withFraction(at + 2 * hour) + "+02:00";
}

std::string fileTimeText(Millis at) {
    return dayText(at) + "T" + timeOfDay(at, '-');
}

}  // namespace vantry::corpus
