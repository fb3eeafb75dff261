#include "platform/Calendar.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

namespace vantry {

namespace {

icu::UnicodeString wide(std::string_view text) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<int>(text.size())));
}

std::string narrow(const icu::UnicodeString& text) {
    std::string result;
    text.toUTF8String(result);
    return result;
}

std::unique_ptr<icu::TimeZone> icuZone(std::string_view identifier) {
    return std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(wide(identifier)));
}

// "../usr/share/zoneinfo/Asia/Tokyo" names the zone behind the last "zoneinfo/".
std::string zoneNameInPath(const std::string& path) {
    constexpr std::string_view marker = "zoneinfo/";
    const std::size_t at = path.rfind(marker);
    std::string name = at == std::string::npos ? path : path.substr(at + marker.size());
    for (const std::string_view variant : {"posix/", "right/"}) {
        if (name.starts_with(variant)) name.erase(0, variant.size());
    }
    return name;
}

std::optional<double> milliseconds(Date date) {
    constexpr double reach = 3e15;  // about 95,000 years
    const double result = date.secondsSince1970() * 1000.0;
    if (!(std::fabs(result) <= reach)) return std::nullopt;
    return std::floor(result);
}

}  // namespace

std::optional<TimeZone> TimeZone::named(std::string_view identifier) {
    if (identifier.empty()) return std::nullopt;
    const auto zone = icuZone(identifier);
    icu::UnicodeString found;
    if (zone->getID(found) == UNICODE_STRING_SIMPLE("Etc/Unknown")) return std::nullopt;
    // Others, such as "GMT+5:37", could have days that begin within a quarter of an hour.
    UErrorCode status = U_ZERO_ERROR;
    UBool isOfDatabase = false;
    icu::UnicodeString canonical;
    icu::TimeZone::getCanonicalID(found, canonical, isOfDatabase, status);
    if (U_FAILURE(status) || !isOfDatabase) return std::nullopt;
    return TimeZone(identifier);
}

TimeZone TimeZone::system(const Environment& environment) {
    if (auto value = environment("TZ")) {
        if (value->starts_with(':')) value->erase(0, 1);
        if (value->empty()) return utc();
        if (auto zone = named(zoneNameInPath(*value))) return *zone;
    }
    std::error_code error;
    const auto link = std::filesystem::read_symlink("/etc/localtime", error);
    if (!error) {
        if (auto zone = named(zoneNameInPath(link.string()))) return *zone;
    }
    std::ifstream file("/etc/timezone");
    std::string name;
    if (file >> name) {
        if (auto zone = named(name)) return *zone;
    }
    return utc();
}

struct Calendar::State {
    struct KeptDay {
        CalendarDay day;
        Date from;
        Date to;
        /// Where wall-clock time is 0:00, also if the clocks skipped that instant. Empty on a day
        /// of a clock change: wall-clock dates need not be contiguous then, and the day is kept
        /// only so as not to be measured again.
        std::optional<Date> midnight;
    };

    explicit State(const TimeZone& named) : zone(named) {
        UErrorCode status = U_ZERO_ERROR;
        icu = std::make_unique<icu::GregorianCalendar>(icuZone(zone.identifier()).release(),
                                                       icu::Locale("en", "US", "POSIX"), status);
        // The proleptic calendar, and the first of two equal wall-clock times.
        icu->setGregorianChange(-1e18, status);
        icu->setRepeatedWallTimeOption(UCAL_WALLTIME_FIRST);
        icu->setSkippedWallTimeOption(UCAL_WALLTIME_NEXT_VALID);
    }

    std::optional<int> get(UCalendarDateFields field) const {
        UErrorCode status = U_ZERO_ERROR;
        const int value = icu->get(field, status);
        if (U_FAILURE(status)) return std::nullopt;
        return value;
    }

    bool moveTo(Date date) const {
        const auto instant = milliseconds(date);
        if (!instant) return false;
        UErrorCode status = U_ZERO_ERROR;
        icu->setTime(*instant, status);
        return U_SUCCESS(status);
    }

    std::optional<Date> current() const {
        UErrorCode status = U_ZERO_ERROR;
        const double instant = icu->getTime(status);
        if (U_FAILURE(status)) return std::nullopt;
        return Date(instant / 1000.0);
    }

    // The first instant of the current day, or of one some days later; moves the calendar there.
    std::optional<Date> moveToStart(int daysLater) const {
        UErrorCode status = U_ZERO_ERROR;
        if (daysLater != 0) icu->add(UCAL_DATE, daysLater, status);
        if (U_FAILURE(status)) return std::nullopt;
        setMidnight();
        return current();
    }

    void setMidnight() const {
        for (const auto field : {UCAL_HOUR_OF_DAY, UCAL_MINUTE, UCAL_SECOND, UCAL_MILLISECOND}) {
            icu->set(field, 0);
        }
    }

    // Milliseconds of wall-clock time ahead of GMT.
    int offset(Date date) const {
        std::int32_t raw = 0;
        std::int32_t saving = 0;
        UErrorCode status = U_ZERO_ERROR;
        icu->getTimeZone().getOffset(date.secondsSince1970() * 1000.0, false, raw, saving, status);
        return raw + saving;
    }

    void remember(const CalendarDay& found) const {
        const auto start = moveToStart(0);
        const auto next = moveToStart(1);
        if (!start || !next) return;
        KeptDay& slot = slotFor(utcDay(*start));
        slot = {.day = found, .from = *start, .to = *next};
        const int ahead = offset(*start);
        if (ahead != offset(*next - 0.001)) return;
        slot.midnight = Date(86'400 * utcDay(*start + ahead / 1000.0) - ahead / 1000.0);
    }

    // The kept day of one offset that holds the instant.
    const KeptDay* keptWithMidnight(Date date) const {
        const KeptDay* found = kept(date);
        return found != nullptr && found->midnight ? found : nullptr;
    }

    // The kept day of an instant. A day is kept under the UTC day in which it begins, which is the
    // instant's own or the one before.
    const KeptDay* kept(Date date) const {
        const double day = utcDay(date);
        if (!(std::fabs(day) < 1e9)) return nullptr;
        for (const double candidate : {day, day - 1}) {
            const KeptDay& slot = slotFor(candidate);
            if (date >= slot.from && date < slot.to) return &slot;
        }
        return nullptr;
    }

    static double utcDay(Date date) { return std::floor(date.secondsSince1970() / 86'400); }

    KeptDay& slotFor(double day) const {
        return keptDays[static_cast<std::size_t>(static_cast<std::int64_t>(day)) % keptDays.size()];
    }

    TimeZone zone;
    std::unique_ptr<icu::GregorianCalendar> icu;
    mutable std::array<KeptDay, 64> keptDays{};  // two months
};

Calendar::Calendar(const TimeZone& zone) : state_(std::make_unique<State>(zone)) {}
Calendar::Calendar(const Calendar& other) : Calendar(other.zone()) {}
Calendar::Calendar(Calendar&&) noexcept = default;
Calendar& Calendar::operator=(const Calendar& other) {
    return *this = Calendar(other.zone());
}
Calendar& Calendar::operator=(Calendar&&) noexcept = default;
Calendar::~Calendar() = default;

const TimeZone& Calendar::zone() const {
    return state_->zone;
}

std::optional<CalendarDay> Calendar::day(Date date) const {
    const State::KeptDay* kept = state_->kept(date);
    if (kept != nullptr && kept->midnight) return kept->day;
    if (!state_->moveTo(date)) return std::nullopt;
    const auto year = state_->get(UCAL_EXTENDED_YEAR);
    const auto month = state_->get(UCAL_MONTH);
    const auto day = state_->get(UCAL_DATE);
    if (!year || !month || !day) return std::nullopt;
    const CalendarDay result{.year = *year, .month = *month + 1, .day = *day};
    if (kept == nullptr) state_->remember(result);
    return result;
}

std::optional<int> Calendar::hour(Date date) const {
    if (state_->kept(date) == nullptr) day(date);
    if (const State::KeptDay* kept = state_->keptWithMidnight(date)) {
        return static_cast<int>(std::floor((date - *kept->midnight) / 3'600));
    }
    if (!state_->moveTo(date)) return std::nullopt;
    return state_->get(UCAL_HOUR_OF_DAY);
}

std::optional<Date> Calendar::startOfDay(Date date) const {
    if (const State::KeptDay* kept = state_->keptWithMidnight(date)) return kept->from;
    if (!state_->moveTo(date)) return std::nullopt;
    return state_->moveToStart(0);
}

std::optional<int> Calendar::weekday(Date date) const {
    if (!state_->moveTo(date)) return std::nullopt;
    return state_->get(UCAL_DAY_OF_WEEK);
}

std::optional<int> Calendar::daysInMonth(Date date) const {
    if (!state_->moveTo(date)) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    const int days = state_->icu->getActualMaximum(UCAL_DATE, status);
    if (U_FAILURE(status)) return std::nullopt;
    return days;
}

std::optional<Date> Calendar::addingDays(int days, Date date) const {
    if (!state_->moveTo(date)) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    state_->icu->add(UCAL_DATE, days, status);
    const auto moved = state_->current();
    if (U_FAILURE(status) || !moved) return std::nullopt;
    // The calendar counts milliseconds; what it dropped of the date comes back.
    return *moved + (date.secondsSince1970() - *milliseconds(date) / 1000.0);
}

std::optional<Date> Calendar::startOfDayAdding(int days, Date date) const {
    const auto moved = addingDays(days, date);
    return moved ? startOfDay(*moved) : std::nullopt;
}

std::optional<Date> Calendar::startOfDateAdding(int days, Date date) const {
    if (!state_->moveTo(date)) return std::nullopt;
    int dayNumber = state_->get(UCAL_JULIAN_DAY).value_or(0);
    if (__builtin_add_overflow(dayNumber, days, &dayNumber)) return std::nullopt;
    state_->icu->set(UCAL_JULIAN_DAY, dayNumber);
    state_->setMidnight();
    const auto start = state_->current();
    if (state_->get(UCAL_JULIAN_DAY) != dayNumber) return std::nullopt;
    return start;
}

std::string Calendar::text(Date date, const TextForm& form) const {
    const auto instant = milliseconds(date);
    if (!instant) return {};
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale locale =
        icu::Locale::createFromName(std::string(form.localeIdentifier).c_str());
    icu::SimpleDateFormat format(wide(form.pattern), locale, status);
    if (U_FAILURE(status)) return {};
    format.setCalendar(*state_->icu);
    icu::UnicodeString result;
    format.format(*instant, result);
    return narrow(result);
}

}  // namespace vantry
