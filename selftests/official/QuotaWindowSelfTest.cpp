#include "selftests/official/QuotaWindowSelfTest.h"

#include <cmath>
#include <limits>

#include "official/RuntimeSummary.h"
#include "selftests/support/SelfTest.h"

namespace vantry::QuotaWindowSelfTest {

namespace {

using namespace QuotaWindowPresentation;
using Kind = RuntimeQuotaWindowKind;

const Date now(1'800'000'000);
const Date never(std::numeric_limits<double>::infinity());

void checkExpiry(SelfTest& test) {
    const WindowTimes reset{.resetsAt = now};
    test.expect(!isValid(reset, now) && isValid(reset, now - 0.001),
                "a window that has reached its reset is dead at once");
    const WindowTimes captured{.capturedAt = now - 600, .windowDurationMins = 300};
    test.expect(expiresAt(captured) == now - 600 + 18'000 && isValid(captured, now),
                "without a reset a window ends its length after its capture");
    for (const WindowTimes& unknown :
         {WindowTimes{.windowDurationMins = 300}, WindowTimes{.capturedAt = now},
          WindowTimes{.capturedAt = now, .windowDurationMins = 0},
          WindowTimes{.capturedAt = never, .windowDurationMins = 300},
          WindowTimes{.resetsAt = never, .capturedAt = now, .windowDurationMins = 300}}) {
        test.expect(!expiresAt(unknown) && !validRemainingPercent(50.0, unknown, now),
                    "a window of unknown end is not shown");
    }
    test.expect(!isValid(captured, never), "a clock that is not finite shows nothing");
    test.expect(validRemainingPercent(120.0, captured, now) == 100 &&
                    !validRemainingPercent(std::nan(""), captured, now),
                "a percentage is limited, and is a number");
}

void checkCountdown(SelfTest& test) {
    struct Case {
        double seconds;
        const char* hours;
        std::int64_t days;
    };
    for (const Case& entry :
         {Case{1, "0.1", 1}, Case{3'600, "1", 1}, Case{3'601, "1.1", 1}, Case{16'500, "4.6", 1},
          Case{86'400, "24", 1}, Case{90'000, "25", 2}}) {
        test.expect(remainingHoursText(now + entry.seconds, now) == entry.hours &&
                        remainingDays(now + entry.seconds, now) == entry.days,
                    std::string("a countdown is rounded up: ") + entry.hours);
    }
    for (const Date gone : {now, now - 1, never, Date(1e300)}) {
        test.expect(!remainingHoursText(gone, now) && !remainingDays(gone, now),
                    "a reset that is not ahead, or beyond counting, has no countdown");
    }
}

void checkSelection(SelfTest& test) {
    test.expect(RuntimeQuotaWindowPolicy::selectedKind(" PLUS \n") == Kind::fiveHour, "Plus");
    for (const char* plan : {"pro", "free", "", "plus2"}) {
        test.expect(RuntimeQuotaWindowPolicy::selectedKind(plan) == Kind::sevenDay, plan);
    }
    RuntimeUsageSnapshot runtime{
        .snapshot = {.account = AccountInfo{.type = "chatgpt", .planType = "plus"},
                     .secondary = RateWindow{.usedPercent = 10,
                                             .windowDurationMins = 10'080,
                                             .resetsAt = now + 1'000}},
        .status = RuntimeMenuStatus::available,
        .quotaCapturedAt = now};
    const auto without = summary(runtime, now);
    test.expect(without.quotaWindowKind == Kind::fiveHour && !without.quotaRemainingPercent,
                "a Plus plan never shows the 7-day window in place of its own");
    runtime.snapshot.primary =
        RateWindow{.usedPercent = 30, .windowDurationMins = 300, .resetsAt = now + 100};
    const auto shown = summary(runtime, now + 99);
    test.expect(shown.quotaRemainingPercent == 70 && shown.quotaResetsAt == now + 100 &&
                    shown.status == RuntimeMenuStatus::available,
                "a running window is shown");
    const auto expired = summary(runtime, now + 100);
    test.expect(expired.quotaWindowKind == Kind::fiveHour && !expired.quotaRemainingPercent &&
                    !expired.quotaResetsAt && expired.status == RuntimeMenuStatus::unavailable,
                "an expired window leaves its kind alone");
    runtime.snapshot.local = LocalUsage{};
    test.expect(summary(runtime, now + 100).status == RuntimeMenuStatus::localOnly,
                "local figures outlive the quota");
    test.expect(RateWindow{.usedPercent = 120}.remainingPercent() == 0 &&
                    RateWindow{.usedPercent = -5}.remainingPercent() == 100,
                "what remains stays in 0...100");
}

}  // namespace

bool run() {
    SelfTest test("quota window");
    checkExpiry(test);
    checkCountdown(test);
    checkSelection(test);
    return test.finish();
}

}  // namespace vantry::QuotaWindowSelfTest
