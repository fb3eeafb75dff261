#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/Calendar.h"
#include "presentation/words/Language.h"

namespace vantry {

/// Where a figure comes from.
enum class FigureSource : std::uint8_t { thisComputer, account, accountAndComputer };

/// Who read it, when, and whether a later read failed.
struct FigureOrigin {
    FigureSource source = FigureSource::thisComputer;
    std::optional<Date> capturedAt;
    bool isStale = false;
};

/// Sentences, numbers and moments for one surface at one moment: one language, one calendar, one
/// `now`. One thread, as the calendar is.
class Wording {
  public:
    Wording(WidgetLanguage language, Date now, const Calendar& calendar)
        : language_(language), now_(now), calendar_(calendar) {}

    WidgetLanguage language() const { return language_; }
    Date now() const { return now_; }
    const Calendar& calendar() const { return calendar_; }

    std::string operator()(const BilingualText& text) const {
        return std::string(text.in(language_));
    }
    template <class... Values>
    std::string operator()(const BilingualText& pattern, const Values&... values) const {
        return inWords(pattern, language_, values...);
    }

    /// The time of today's moments, "yesterday" and the time, or the date and the time.
    std::string moment(Date date) const;
    /// When something is to happen: the time of today's moments, the weekday and the time within
    /// a week, otherwise the date and the time.
    std::string comingMoment(Date date) const;
    std::string formatted(Date date, const BilingualText& pattern) const;

    /// "this computer, 14:05". The time of a clock that was set back since is left out.
    std::string provenance(const FigureOrigin& origin) const;
    /// All digits, with separators: "1,234,567".
    std::string digits(std::int64_t number) const;
    /// "1 conversation", "1,234 conversations".
    std::string counted(std::int64_t count, const BilingualText& one,
                        const BilingualText& many) const;
    /// "+18%".
    static std::string signedPercent(double percent);

  private:
    std::optional<int> daysAgo(Date date) const;

    WidgetLanguage language_;
    Date now_;
    Calendar calendar_;
};

}  // namespace vantry
