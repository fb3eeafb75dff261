#include "presentation/format/Wording.h"

#include <cmath>
#include <fmt/format.h>

#include "presentation/format/StatisticsDateFormatting.h"
#include "presentation/words/FigureWords.h"
#include "presentation/words/TimeWords.h"

namespace vantry {

std::string Wording::formatted(Date date, const BilingualText& pattern) const {
    return StatisticsDateFormatting::string({.from = date,
                                             .calendar = calendar_,
                                             .localeIdentifier = TimeWords::locale.in(language_),
                                             .dateFormat = pattern.in(language_)});
}

// Days of the calendar, negative ahead; nothing beyond a week.
std::optional<int> Wording::daysAgo(Date date) const {
    const auto today = calendar_.startOfDay(now_);
    const auto day = calendar_.startOfDay(date);
    if (!today || !day) return std::nullopt;
    for (int days = -6; days <= 6; ++days) {
        if (calendar_.startOfDayAdding(-days, *today) == day) return days;
    }
    return std::nullopt;
}

std::string Wording::moment(Date date) const {
    const auto days = daysAgo(date);
    if (days == 0) return formatted(date, TimeWords::timeOfDay);
    if (days == 1) {
        return (*this)(FigureWords::yesterday, formatted(date, TimeWords::timeOfDay));
    }
    return formatted(date, TimeWords::timeOfOtherDay);
}

std::string Wording::comingMoment(Date date) const {
    const auto days = daysAgo(date);
    if (days == 0) return formatted(date, TimeWords::timeOfDay);
    return formatted(date, days ? TimeWords::timeOfWeekday : TimeWords::timeOfOtherDay);
}

std::string Wording::provenance(const FigureOrigin& origin) const {
    std::string source = [&] {
        switch (origin.source) {
            case FigureSource::account:
                return (*this)(FigureWords::account);
            case FigureSource::accountAndComputer:
                return (*this)(FigureWords::accountAndComputer);
            case FigureSource::thisComputer:
                break;
        }
        return (*this)(FigureWords::thisComputer);
    }();
    if (!origin.capturedAt) return (*this)(FigureWords::notRead, source);
    if (*origin.capturedAt > now_) return source;
    return (*this)(origin.isStale ? FigureWords::staleSince : FigureWords::readAt, source,
                   moment(*origin.capturedAt));
}

std::string Wording::digits(std::int64_t number) const {
    std::string text = fmt::format("{}", number);
    const std::size_t first = text.starts_with('-') ? 1 : 0;
    for (std::size_t end = text.size(); end > first + 3;) {
        end -= 3;
        text.insert(end, 1, ',');
    }
    return text;
}

std::string Wording::counted(std::int64_t count, const BilingualText& one,
                             const BilingualText& many) const {
    return (*this)(count == 1 ? one : many, digits(count));
}

std::string Wording::signedPercent(double percent) {
    const double rounded = std::round(percent);
    return fmt::format("{:+.0f}%", rounded == 0 ? 0.0 : rounded);
}

}  // namespace vantry
