#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

#include "platform/Calendar.h"
#include "platform/RecordFields.h"

namespace vantry {

/// What a desktop widget, which runs in another process, needs to draw itself until it is loaded
/// anew: the figures, and all that tells when each of them expires. Percentages are 0...100,
/// tokens are counts.
struct DesktopWidgetSnapshot {
    static constexpr std::int64_t currentSchemaVersion = 1;

    std::int64_t schemaVersion = currentSchemaVersion;
    Date generatedAt;
    std::string statisticsTimeZoneIdentifier;
    std::string statisticsDayKey;  ///< "yyyy-MM-dd" in that zone: the day of the figures
    std::optional<Date> quotaCapturedAt;
    bool quotaIsStale = false;
    std::optional<double> fiveHourRemainingPercent;
    std::optional<Date> fiveHourResetsAt;
    std::optional<std::int64_t> fiveHourWindowDurationMins;
    std::optional<double> sevenDayRemainingPercent;
    std::optional<Date> sevenDayResetsAt;
    std::optional<std::int64_t> sevenDayWindowDurationMins;
    std::optional<Date> localUsageCapturedAt;
    bool localUsageIsStale = false;
    std::optional<std::int64_t> todayTokens;
    std::optional<std::int64_t> sevenDayTokens;

    /// What remains of a window that still runs at that time. A percentage out of range is no
    /// percentage.
    std::optional<double> fiveHourPercent(Date at) const;
    std::optional<double> sevenDayPercent(Date at) const;

    /// Whether the date falls on the day of the figures, in the figures' zone; in `fallback` where
    /// that zone is not known.
    bool isCurrentStatisticsDay(Date at, const TimeZone& fallback = TimeZone::system()) const;

    /// The figures as long as their day lasts; the week's total ends with the day as well.
    std::optional<std::int64_t> currentTodayTokens(Date at) const;
    std::optional<std::int64_t> currentSevenDayTokens(Date at) const;

    bool hasSameQuotaContent(const DesktopWidgetSnapshot& other) const;

    friend bool operator==(const DesktopWidgetSnapshot&, const DesktopWidgetSnapshot&) = default;
};

/// A date, or an optional one, that is written as milliseconds since 1970-01-01T00:00:00Z: the
/// widget's reader knows no other form. One that is not finite is left out.
template <class Record, class Member>
struct MillisecondsField {
    std::string_view name;
    Member Record::*member;
};

template <class Record, class Member>
constexpr MillisecondsField<Record, Member> millisecondsField(std::string_view name,
                                                              Member Record::*member) {
    return {name, member};
}

template <class Record, class Member>
void encodeField(const MillisecondsField<Record, Member>& entry, const Record& record, RecordForm,
                 JsonValue::Object& members) {
    const std::optional<Date> date = record.*entry.member;
    const double milliseconds = date ? date->secondsSince1970() * 1000.0 : NAN;
    if (std::isfinite(milliseconds)) {
        members.insert_or_assign(std::string(entry.name), JsonValue(milliseconds));
    }
}

template <class Record, class Member>
bool decodeField(const MillisecondsField<Record, Member>& entry, JsonView value, Record& into) {
    std::optional<double> milliseconds;
    if (!decode(value[entry.name], milliseconds)) return false;
    if (milliseconds) into.*entry.member = Date(*milliseconds / 1000.0);
    return milliseconds || !std::is_same_v<Member, Date>;
}

template <>
struct RecordFields<DesktopWidgetSnapshot> {
    using S = DesktopWidgetSnapshot;
    static constexpr std::tuple list{
        field("schemaVersion", &S::schemaVersion),
        millisecondsField("generatedAt", &S::generatedAt),
        field("statisticsTimeZoneIdentifier", &S::statisticsTimeZoneIdentifier),
        field("statisticsDayKey", &S::statisticsDayKey),
        millisecondsField("quotaCapturedAt", &S::quotaCapturedAt),
        field("quotaIsStale", &S::quotaIsStale),
        field("fiveHourRemainingPercent", &S::fiveHourRemainingPercent),
        millisecondsField("fiveHourResetsAt", &S::fiveHourResetsAt),
        field("fiveHourWindowDurationMins", &S::fiveHourWindowDurationMins),
        field("sevenDayRemainingPercent", &S::sevenDayRemainingPercent),
        millisecondsField("sevenDayResetsAt", &S::sevenDayResetsAt),
        field("sevenDayWindowDurationMins", &S::sevenDayWindowDurationMins),
        millisecondsField("localUsageCapturedAt", &S::localUsageCapturedAt),
        field("localUsageIsStale", &S::localUsageIsStale),
        field("todayTokens", &S::todayTokens),
        field("sevenDayTokens", &S::sevenDayTokens)};
};

}  // namespace vantry
