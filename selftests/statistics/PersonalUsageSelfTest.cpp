#include <fmt/format.h>

#include "presentation/charts/TokenSplitBar.h"
#include "presentation/format/Countdown.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "statistics/PersonalUsageCalculator.h"
#include "statistics/PersonalUsagePace.h"
#include "statistics/PersonalUsagePreferences.h"

namespace vantry::PersonalUsageSelfTest {

using namespace PersonalUsageCalculator;

namespace {

using Buckets = std::optional<std::vector<DailyTokenBucket>>;

StatisticsContext shanghai(const char* now) {
    return contextIn("Asia/Shanghai", at(now));
}

// Sunday the 6th to Monday the 14th, each with another digit, and a key that is no day.
Buckets september() {
    Buckets buckets{{{"2026-09-9x", "", 9}}};
    std::int64_t digit = 1;
    for (int day = 6; day <= 14; ++day, digit *= 10) {
        buckets->push_back({fmt::format("2026-09-{:02}", day), "", digit});
    }
    return buckets;
}

void checkTotals(SelfTest& test) {
    const Buckets buckets = september();
    const std::vector<std::pair<const char*, PersonalTokenTotals>> cases{
        {"2026-09-06T15:59:59Z", {1, 1}},
        {"2026-09-06T16:00:00Z", {10, 11'111'110}},
        {"2026-09-13T15:59:59Z", {10'000'000, 11'111'110}},
        {"2026-09-13T16:00:00Z", {100'000'000, 100'000'000}}};
    for (const auto& [now, totals] : cases) {
        const Calendar calendar = shanghai(now).calendar();
        test.expect(tokenTotals({.from = *buckets, .calendar = calendar, .now = at(now)}) == totals,
                    fmt::format("the week from Monday at {}", now));
    }
    const std::vector<DailyTokenBucket> large{{"2026-09-07", "", INT64_MAX}, {"2026-09-08", "", 1}};
    const Calendar calendar(TimeZone::utc());
    test.expect(tokenTotals({large, calendar, at("2026-09-08T04:00:00Z")}) ==
                    PersonalTokenTotals{1, INT64_MAX},
                "a sum stops at the largest number");
}

void checkGoals(SelfTest& test) {
    using Totals = PersonalTokenGoalTotals;
    const StatisticsContext monday = shanghai("2026-09-14T01:00:00Z");
    const Buckets week = september();
    const Buckets none;
    const Buckets empty{std::in_place};
    const auto totals = [&](const Buckets& buckets, bool isComplete = true,
                            const char* captured = "2026-09-13T16:00:00Z",
                            const char* zone = "Asia/Shanghai") {
        const StatisticsIdentity identity{.resolvedIdentifier = zone, .now = at(captured)};
        return goalTotals({buckets, 0, isComplete, identity, monday});
    };
    test.expect(totals(week) == Totals{0, 100'000'000}, "both rows begin with Monday");
    test.expect(totals(week, true, "2026-09-13T15:59:59Z") == Totals::unavailable() &&
                    totals(week, true, "2026-09-14T00:00:00Z", "Asia/Singapore") == Totals{},
                "another day's snapshot and another zone's say nothing, which is not zero");
    test.expect(totals(week, false) == Totals{0, {}} && totals(none) == Totals{0, {}} &&
                    totals(empty) == Totals{0, {}},
                "without the week's history today stays visible");
    test.expect(TokenGoalProgress{5, 0}.fraction() == 0 &&
                    TokenGoalProgress{-5, 10}.fraction() == 0 &&
                    TokenGoalProgress{25, 10}.fraction() == 2.5 && !goalProgress({.goal = 5}) &&
                    goalProgress({0, 5})->isSet(),
                "progress without a goal, below nothing, beyond, and not known");
}

void checkRenewal(SelfTest& test) {
    // Days of the zone begin at 16:00 UTC.
    const CalendarDay last{2026, 1, 31};
    using Case = std::tuple<CalendarDay, const char*, CalendarDay, std::int64_t>;
    for (const auto& [stored, now, next, days] :
         {Case{last, "2026-02-10T00:00:00Z", CalendarDay{2026, 2, 28}, 18},
          Case{last, "2026-02-28T15:59:59Z", {2026, 2, 28}, 0},
          Case{last, "2026-02-28T16:00:00Z", {2026, 3, 31}, 30},
          Case{{2030, 5, 5}, "2026-12-06T00:00:00Z", {2027, 1, 5}, 30}}) {
        const Calendar calendar = shanghai(now).calendar();
        const Renewal renewal{stored, calendar, at(now)};
        test.expect(nextRenewalDay(renewal) == next && wholeDaysUntilRenewal(renewal) == days,
                    fmt::format("the renewal after {}", now));
    }
    // The clocks go forward between the two days, which are 47 hours apart.
    const Calendar berlin(*TimeZone::named("Europe/Berlin"));
    const Date eve = at("2026-03-28T22:30:00Z");
    test.expect(wholeDaysUntilRenewal({CalendarDay{2026, 1, 30}, berlin, eve}) == 2 &&
                    !nextRenewalDay({{}, berlin, eve}) &&
                    !nextRenewalDay({CalendarDay{2026, 2, 30}, berlin, eve}),
                "days are counted in the calendar");
}

void checkPace(SelfTest& test) {
    using Pace = WeeklyQuotaPace;
    using enum WeeklyQuotaPaceStatus;
    constexpr double half = 302'400;  // of a week
    const Date now(1'800'000'000);
    using Case = std::tuple<std::optional<std::int64_t>, std::optional<double>, std::optional<Date>,
                            bool, std::optional<Pace>>;
    for (const auto& [minutes, percent, reset, isStale, pace] :
         {Case{10'080, 50, now + half, false, Pace{0.5, 0.5, healthy}},
          Case{10'080, 52.9, now + half, false, Pace{0.5, 0.529, healthy}},
          Case{10'080, 53.1, now + half, false, Pace{0.5, 0.531, aheadOfPace}},
          Case{10'080, 53.1, now + half, true, Pace{0.5, 0.531, {}}},
          Case{10'080, 120, now - 1, false, Pace{1.0, 1, healthy}},
          Case{10'080, -5, now + 3 * half, false, Pace{0.0, 0, healthy}},
          Case{{}, 40, now + half, false, Pace{{}, 0.4, {}}},
          Case{0, 40, now + half, false, Pace{{}, 0.4, {}}},
          Case{10'080, 40, {}, false, Pace{{}, 0.4, {}}}, Case{{}, 40, {}, false, {}},
          Case{10'080, {}, now + half, false, {}}}) {
        test.expect(
            WeeklyQuotaPaceCalculator::calculate({minutes, percent, reset, isStale, now}) == pace,
            fmt::format("the pace at {} percent", percent.value_or(-1)));
    }
    const auto days = [&](double seconds) {
        return WeeklyQuotaResetCountdown::remainingDays({now + seconds, now});
    };
    test.expect(!days(0) && !days(-1) && days(1) == 1 && days(432'000) == 5 && days(432'001) == 6,
                "days until the reset are rounded up");
}

void checkSplitBar(SelfTest& test) {
    using Kind = TokenSplitBarFill::Kind;
    using Bar = TokenSplitBarPresentation;
    const TokenBreakdown split{.inputTokens = 6, .outputTokens = 3, .totalTokens = 8};
    test.expect(
        Bar::of({split, 99}) == Bar{9, {Kind::split, split}} &&
            Bar::of({TokenBreakdown{.totalTokens = 8}, 99}) == Bar{8, {Kind::totalOnly, {}}} &&
            Bar::of({TokenBreakdown{}, 99}) == Bar{0, {Kind::zero, {}}},
        "tokens come before a bare total, and no split is invented");
    test.expect(Bar::of({{}, 5}) == Bar{5, {Kind::totalOnly, {}}} &&
                    Bar::of({{}, 0}) == Bar{0, {Kind::zero, {}}} && Bar::of({}) == Bar{},
                "a bare total, a measured zero and nothing");
}

void checkStore(SelfTest& test) {
    using namespace PersonalUsagePreferencesStore;
    const TemporaryDirectory directory("Vantry.personal-usage.");
    const Calendar calendar = shanghai("2026-09-04T00:00:00Z").calendar();
    UserDefaults defaults(directory.path(), "suite");
    PersonalUsagePreferences preferences;
    preferences.setDailyTokenGoal(INT64_MAX);
    preferences.setWeeklyTokenGoal(-5);
    save(preferences, defaults);
    defaults.setString("Vantry.personalUsage.renewalDate", "2026-09-04T16:00:00Z");
    preferences.renewalDay = CalendarDay{2026, 9, 5};
    for (const char* zone : {"Asia/Shanghai", "America/New_York"}) {
        test.expect(
            load(defaults, contextIn(zone).calendar()) == preferences,
            std::string("an earlier version's instant is a day, once it is read, in ") + zone);
    }
    preferences.renewalDay.reset();
    save(preferences, defaults);
    test.expect(load(defaults, calendar) == preferences, "a day that is no longer set is gone");
    for (const char* damaged : {"", "12 ", "1e3", "9223372036854775808", "-7"}) {
        defaults.setString("Vantry.personalUsage.weeklyTokenGoal", damaged);
        test.expect(load(defaults, calendar).weeklyTokenGoal() == 0,
                    std::string("no goal: ") + damaged);
    }
    reset(defaults);
    test.expect(load(defaults, calendar) == PersonalUsagePreferences{}, "reset sets nothing");
}

}  // namespace

bool run() {
    return SelfTest::run("personal usage", {checkTotals, checkGoals, checkRenewal, checkPace,
                                            checkSplitBar, checkStore});
}

}  // namespace vantry::PersonalUsageSelfTest
