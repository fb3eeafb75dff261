#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Date.h"
#include "presentation/words/Language.h"

/// How long it is until a window begins anew. Every surface asks here. What is not known or not
/// ahead has no countdown, and every unit is rounded up: what is left is never promised too early.
namespace vantry::QuotaWindowPresentation {

struct Countdown {
    std::optional<Date> resetsAt;
    Date now;
};

/// Hours, in tenths: "4.6", "1", at least "0.1".
std::optional<std::string> remainingHoursText(const Countdown& countdown);

/// Spans of 24 hours, at least 1.
std::optional<std::int64_t> remainingDays(const Countdown& countdown);

/// Up to a day in hours and minutes, from there on in days and hours: "2h 29m", "4d".
/// Nothing where it is more than three centuries, a time that nobody meant.
std::optional<std::string> remainingTimeText(const Countdown& countdown, WidgetLanguage language);

}  // namespace vantry::QuotaWindowPresentation

namespace vantry::WeeklyQuotaResetCountdown {
using QuotaWindowPresentation::remainingDays;
}
