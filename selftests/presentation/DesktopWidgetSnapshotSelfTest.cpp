#include <fstream>

#include "io/BoundedCacheData.h"
#include "presentation/status/DesktopWidgetSnapshotTimeline.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "session/DesktopWidgetSnapshotBuilder.h"
#include "session/DesktopWidgetSnapshotPublisher.h"

namespace vantry::DesktopWidgetSnapshotSelfTest {

namespace {

using namespace DesktopWidgetTimelinePolicy;

const Date start = at("2026-03-08T20:00:00Z");

/// A day in Los Angeles with 23 hours; a 5-hour window without a reset time, a 7-day one with.
DesktopWidgetSnapshot sample() {
    return {.generatedAt = start,
            .statisticsTimeZoneIdentifier = "America/Los_Angeles",
            .statisticsDayKey = "2026-03-08",
            .quotaCapturedAt = start - 600,
            .fiveHourRemainingPercent = 80,
            .fiveHourWindowDurationMins = 300,
            .sevenDayRemainingPercent = 40.5,
            .sevenDayResetsAt = start + 259'200,
            .sevenDayWindowDurationMins = 10'080,
            .localUsageCapturedAt = start - 3'600,
            .todayTokens = 0,
            .sevenDayTokens = 70};
}

void checkTimeline(SelfTest& test) {
    const auto offsets = [](const DesktopWidgetSnapshot& snapshot, double at) {
        std::vector<double> result;
        for (const Date date : entryDates(snapshot, start + at)) result.push_back(date - start);
        return result;
    };
    using Offsets = std::vector<double>;
    test.expect(offsets(sample(), 0) ==
                    Offsets{0, 120, 480, 600, 840, 1'200, 1'560, 1'800, 17'400, 39'600, 259'200},
                "every change is named in advance, and midnight follows the clocks");
    test.expect(
        offsets(sample(), 17'000) == Offsets{17'000, 17'040, 17'400, 18'800, 39'600, 259'200},
        "what has passed is dropped, and far ends stay");
    test.expect(offsets(sample(), 39'600) == Offsets{39'600, 41'400, 259'200},
                "a day that has ended has no midnight");
    DesktopWidgetSnapshot official = sample();
    official.fiveHourResetsAt = start + 100;
    test.expect(offsets(official, 0) == Offsets{0, 100, 600, 1'800, 39'600, 259'200},
                "an official reset time wins");
    official.fiveHourResetsAt = Date(1e300);
    test.expect(offsets(official, 0).size() == 6 && offsets(sample(), NAN).size() == 1,
                "dates beyond counting come to an end");
    const Date autumn = at("2026-11-01T20:00:00Z");
    const DesktopWidgetSnapshot bare{.statisticsTimeZoneIdentifier = "America/Los_Angeles",
                                     .statisticsDayKey = "2026-11-01",
                                     .fiveHourResetsAt = autumn + 1'000};
    test.expect(entryDates(bare, autumn) ==
                    std::vector{autumn, autumn + 1'000, autumn + 1'800, autumn + 43'200},
                "a day of 25 hours; no countdown without a percentage");
    test.expect(!isStale({.capturedAt = start, .now = start + 1'199.9}) &&
                    isStale({.capturedAt = start, .now = start + 1'200}) &&
                    isStale({.now = start}) &&
                    isStale({.capturedAt = start, .markedStale = true, .now = start}),
                "freshness ends after 20 minutes");
}

void checkFigures(SelfTest& test) {
    const Date midnight = start + 39'600;
    DesktopWidgetSnapshot snapshot = sample();
    test.expect(snapshot.currentTodayTokens(midnight - 1) == 0 &&
                    snapshot.currentSevenDayTokens(midnight - 1) == 70 &&
                    !snapshot.currentTodayTokens(midnight) &&
                    !snapshot.currentSevenDayTokens(midnight),
                "both figures end with their day");
    snapshot.statisticsTimeZoneIdentifier = "Nowhere/Land";
    test.expect(snapshot.isCurrentStatisticsDay(start + 14'399, TimeZone::utc()) &&
                    !snapshot.isCurrentStatisticsDay(start + 14'400, TimeZone::utc()),
                "an unknown zone is the machine's");
    test.expect(snapshot.fiveHourPercent(start + 17'399) == 80 &&
                    !snapshot.fiveHourPercent(start + 17'400) &&
                    snapshot.sevenDayPercent(start + 17'400) == 40.5,
                "each window ends by itself");
    for (const double odd : {-0.1, 100.1, double(NAN), double(INFINITY)}) {
        snapshot.fiveHourRemainingPercent = snapshot.sevenDayRemainingPercent = odd;
        test.expect(!snapshot.fiveHourPercent(start) && !snapshot.sevenDayPercent(start),
                    "an odd percentage is none");
    }
}

void checkBuilder(SelfTest& test) {
    const StatisticsContext context = contextIn("America/Los_Angeles", start);
    RuntimeUsageSnapshot codex{.status = RuntimeMenuStatus::stale, .quotaCapturedAt = start - 600};
    codex.snapshot.primary = RateWindow{.usedPercent = 20, .windowDurationMins = 300};
    codex.snapshot.secondary =
        RateWindow{.usedPercent = 59.5, .windowDurationMins = 10'080, .resetsAt = start + 259'200};
    codex.snapshot.local = LocalUsage{.todayTokens = 0, .sevenDayTokens = 70};
    codex.snapshot.localUsageCapturedAt = start - 3'600;
    codex.snapshot.localUsageIsStale = true;
    MultiRuntimeUsageSnapshot published{.runtimes = {codex}};
    StatisticsIdentity& identity = published.statisticsIdentity;
    identity.resolvedIdentifier = "America/Los_Angeles";
    identity.now = start - 60;
    DesktopWidgetSnapshot expected = sample();
    expected.quotaIsStale = expected.localUsageIsStale = true;
    test.expect(makeDesktopWidgetSnapshot(published, context) == expected,
                "the record holds what is published");
    identity.now = start - 86'400;
    const auto yesterday = makeDesktopWidgetSnapshot(published, context);
    identity.resolvedIdentifier = "GMT";
    identity.now = start;
    expected.todayTokens = expected.sevenDayTokens = std::nullopt;
    test.expect(yesterday == expected && makeDesktopWidgetSnapshot(published, context) == expected,
                "figures of another day or zone are not today's");
    published.runtimes.clear();
    test.expect(!makeDesktopWidgetSnapshot(published, context), "without Codex there is none");
}

void checkStore(SelfTest& test) {
    const TemporaryDirectory directory("vantry-desktop-widget-");
    const DesktopWidgetSnapshotStore store(UserDirectories::below(directory.path()));
    test.expect(!store.load() && store.save(sample()) && store.load() == sample(),
                "a record is read back");
    const std::string text = boundedCacheData(store.file(), 10'000).value_or("");
    test.expect(text.starts_with(R"({"fiveHourRemainingPercent":80.0,"fiveHourWindow)") &&
                    text.find(R"("generatedAt":1773000000000.0,)") != std::string::npos,
                "keys are sorted, dates are milliseconds since 1970");
    DesktopWidgetSnapshot refused = sample();
    refused.generatedAt = Date(INFINITY);
    DesktopWidgetSnapshot large = sample();
    large.statisticsDayKey.assign(70'000, '0');
    test.expect(!store.save(refused) && !store.save(large) && store.load() == sample(),
                "a record that nobody could read leaves the last one");
    const std::string version = R"("schemaVersion":1)";
    std::string newer = text;
    newer.replace(newer.find(version), version.size(), R"("schemaVersion":2)");
    for (const std::string& bad :
         {newer, text.substr(1), std::string("{}"), text + std::string(70'000, ' ')}) {
        std::ofstream(store.file()) << bad;
        test.expect(!store.load(), "a file that fails a check is no data");
    }
}

void checkPublisher(SelfTest& test) {
    struct Counter final : DesktopWidgetReloadService {
        void reloadTimelines(std::string_view) override { ++count; }
        int count = 0;
    };
    const TemporaryDirectory directory("vantry-desktop-widget-");
    const DesktopWidgetSnapshotStore store(UserDirectories::below(directory.path()));
    const auto counter = std::make_shared<Counter>();
    const auto atOnce = [](const std::function<void()>& task) { task(); };
    DesktopWidgetSnapshotPublisher publisher({store, atOnce, atOnce, counter});
    DesktopWidgetSnapshot snapshot = sample();
    publisher.publish(std::nullopt, start);
    snapshot.generatedAt = Date(NAN);
    publisher.publish(snapshot, start);
    snapshot.generatedAt = start;
    publisher.publish(snapshot, start + 10);
    test.expect(counter->count == 0 && !store.load(), "a failed write is not repeated");
    snapshot.quotaIsStale = true;
    publisher.publish(snapshot, start + 20);
    test.expect(counter->count == 1 && store.load() == snapshot, "a change of the quota is");
    snapshot.todayTokens = 5;
    publisher.publish(snapshot, start + 319.9);
    const bool waited = counter->count == 1 && store.load() != snapshot;
    publisher.publish(snapshot, start + 320);
    test.expect(waited && counter->count == 2 && store.load() == snapshot,
                "other changes wait five minutes");
}

}  // namespace

bool run() {
    return SelfTest::run("desktop widget snapshot",
                         {checkTimeline, checkFigures, checkBuilder, checkStore, checkPublisher});
}

}  // namespace vantry::DesktopWidgetSnapshotSelfTest
