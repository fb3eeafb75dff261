#include "presentation/format/Countdown.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <vector>

#include "presentation/words/TimeWords.h"

namespace vantry::QuotaWindowPresentation {

namespace {

constexpr double minute = 60;
constexpr double hour = 3'600;
constexpr double day = 86'400;

// Whole units of that many seconds until the reset, rounded up.
std::optional<std::int64_t> unitsUp(const Countdown& countdown, double unit) {
    constexpr double largest = 9e15;  // beyond it doubles skip integers
    if (!countdown.resetsAt) return std::nullopt;
    const double units = std::ceil((*countdown.resetsAt - countdown.now) / unit);
    if (!(units > 0 && units <= largest)) return std::nullopt;
    return static_cast<std::int64_t>(units);
}

}  // namespace

std::optional<std::string> remainingHoursText(const Countdown& countdown) {
    const auto tenths = unitsUp(countdown, hour / 10);
    if (!tenths) return std::nullopt;
    if (*tenths % 10 == 0) return fmt::format("{}", *tenths / 10);
    return fmt::format("{}.{}", *tenths / 10, *tenths % 10);
}

std::optional<std::int64_t> remainingDays(const Countdown& countdown) {
    return unitsUp(countdown, day);
}

std::optional<std::string> remainingTimeText(const Countdown& countdown, WidgetLanguage language) {
    constexpr std::int64_t longest = 170'000'000;  // minutes
    const auto minutes = unitsUp(countdown, minute);
    if (!minutes || *minutes > longest) return std::nullopt;
    const std::int64_t hours = *unitsUp(countdown, hour);
    std::vector<std::string> parts;
    const auto add = [&](std::int64_t count, const BilingualText& unit) {
        if (count > 0) parts.push_back(inWords(unit, language, count));
    };
    if (*minutes >= 24 * 60) {
        add(hours / 24, TimeWords::days);
        add(hours % 24, TimeWords::hours);
    } else {
        add(*minutes / 60, TimeWords::hours);
        add(*minutes % 60, TimeWords::minutes);
    }
    return fmt::format("{}", fmt::join(parts, TimeWords::between.in(language)));
}

}  // namespace vantry::QuotaWindowPresentation
