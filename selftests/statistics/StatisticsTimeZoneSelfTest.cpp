
#include "platform/UserDefaults.h"
#include "presentation/format/StatisticsDateFormatting.h"
#include "records/RuntimeUsageSnapshot.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "statistics/RuntimeLoadContext.h"
#include "statistics/StatisticsTimeZonePreferenceStore.h"
#include "statistics/StatisticsWindows.h"

namespace vantry::StatisticsTimeZoneSelfTest {

namespace {

// 2026-09-04T00:00:00Z and some seconds.
Date september4(double seconds) {
    return Date(1'788'480'000 + seconds);
}

void checkDayKeys(SelfTest& test) {
    // With another zone as the system's, so that falling back to that would show.
    const StatisticsContext plain({.selection = StatisticsTimeZoneSelection::utc}, Date(0),
                                  *TimeZone::named("Asia/Tokyo"));
    test.expect(
        plain.dayKey(september4(63'000)) == "2026-09-04" && plain.resolvedIdentifier() == "GMT",
        "UTC key");
    const StatisticsContext shanghai = contextIn("Asia/Shanghai", september4(57'540));
    test.expect(shanghai.dayKey(september4(57'599)) == "2026-09-04" &&
                    shanghai.dayKey(september4(57'601)) == "2026-09-05" &&
                    shanghai.currentDayKey() == "2026-09-04",
                "the day changes at local midnight, and a capture time keeps its own");
    test.expect(plain.dayKey(Date(std::nan(""))) == "0000-00-00" &&
                    !plain.calendar().startOfDay(Date(1e300)),
                "an instant without a day has a key of zeros");
    const Date evening(1'788'193'800);  // 2026-08-31T16:30:00Z
    const auto label = [&](const char* zone) {
        return StatisticsDateFormatting::string({.from = evening,
                                                 .calendar = contextIn(zone).calendar(),
                                                 .localeIdentifier = "en_US_POSIX",
                                                 .dateFormat = "yyyy-MM-dd EEE MMM"});
    };
    test.expect(label("Asia/Shanghai") == "2026-09-01 Tue Sep" &&
                    label("America/Los_Angeles") == "2026-08-31 Mon Aug",
                "date, weekday and month follow the zone");
}

void checkClockChanges(SelfTest& test) {
    // In Apia the 30th of December 2011 was left out.
    const StatisticsContext apia = contextIn("Pacific/Apia", Date(1'325'286'000));
    const Date monthStart = StatisticsWindows::of(apia).monthStart;
    test.expect(apia.currentDayKey() == "2011-12-31" && apia.dayKey(monthStart) == "2011-12-01" &&
                    apia.dayKey(monthStart - 1) == "2011-11-30",
                "a month with a day that was left out begins with its first");
    // In Havana the hour after midnight comes twice; the day begins with the first.
    const Calendar havana = contextIn("America/Havana").calendar();
    const Date midnight(1'793'505'600);  // 2026-11-01T04:00:00Z
    test.expect(havana.startOfDay(midnight + 5'000) == midnight, "the first of two midnights");
    // St. John's once changed a minute after midnight, so that a day came twice.
    const Calendar johns = contextIn("America/St_Johns").calendar();
    const Date change(1'194'143'460);  // 2007-11-04T02:31:00Z, 00:01 daylight time
    test.expect(localDayKey(change - 30, johns) == "2007-11-04" &&
                    localDayKey(change + 30, johns) == "2007-11-03" &&
                    localDayKey(change + 3'700, johns) == "2007-11-04",
                "the day of an instant is what the clock on the wall says");
}

void checkPreferences(SelfTest& test) {
    const TemporaryDirectory directory("Vantry.statistics-time-zone.");
    constexpr const char* selectionKey = "Vantry.statisticsTimeZone.selection";
    constexpr const char* identifierKey = "Vantry.statisticsTimeZone.fixedIdentifier";
    UserDefaults defaults(directory.path(), "suite");
    const StatisticsTimeZonePreference shanghai = fixedZone("Asia/Shanghai");
    const TimeZone system = *TimeZone::named("Europe/Berlin");
    test.expect(StatisticsTimeZonePreferenceStore::load(defaults, system) ==
                        StatisticsTimeZonePreference{.fixedIdentifier = "Europe/Berlin"} &&
                    !defaults.string(selectionKey),
                "nothing stored is the system's zone, and stores nothing");
    StatisticsTimeZonePreferenceStore::save(shanghai, defaults);
    test.expect(StatisticsTimeZonePreferenceStore::load(defaults, system) == shanghai,
                "a stored preference comes back");
    defaults.setString(selectionKey, "utc");
    test.expect(StatisticsTimeZonePreferenceStore::load(defaults, system) ==
                    StatisticsTimeZonePreference{.selection = StatisticsTimeZoneSelection::utc,
                                                 .fixedIdentifier = "Asia/Shanghai"},
                "the identifier is kept under another selection");
    defaults.setString(selectionKey, "fixed");
    defaults.setString(identifierKey, "Invalid/Zone");
    const auto repaired = StatisticsTimeZonePreferenceStore::load(defaults, system);
    test.expect(repaired.selection == StatisticsTimeZoneSelection::system &&
                    repaired.fixedIdentifier == "Europe/Berlin" &&
                    defaults.string(selectionKey) == "system" &&
                    defaults.string(identifierKey) == "Europe/Berlin",
                "invalid zone repair");
    StatisticsTimeZonePreference decoded;
    test.expect(!decode(JsonDocument::parse(R"({"selection":"utc"})")->root(), decoded),
                "both keys of a preference are required");
    const Date now(5);
    test.expect(
        StatisticsContext::calendar("Invalid/Zone", system).zone() == system &&
            StatisticsIdentity::empty(now).now == now &&
            StatisticsContext(shanghai, now, system).resolvedIdentifier() == "Asia/Shanghai",
        "an unknown zone falls back");
    const auto zoneOf = [](const char* value) {
        return TimeZone::system(environmentOf({{"TZ", value}}));
    };
    test.expect(zoneOf("Asia/Tokyo").identifier() == "Asia/Tokyo" &&
                    zoneOf(":/usr/share/zoneinfo/Asia/Tokyo").identifier() == "Asia/Tokyo",
                "the machine's zone may be named by TZ");
}

}  // namespace

bool run() {
    return SelfTest::run("statistics time zone",
                         {checkDayKeys, checkClockChanges, checkPreferences});
}

}  // namespace vantry::StatisticsTimeZoneSelfTest
