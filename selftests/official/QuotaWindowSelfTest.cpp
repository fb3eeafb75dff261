
#include "presentation/format/Countdown.h"
#include "presentation/status/RuntimeMenuSummary.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::QuotaWindowSelfTest {

namespace {

using namespace QuotaWindowPresentation;
using Kind = RuntimeQuotaWindowKind;

const Date now(1'800'000'000);
const Date never(std::numeric_limits<double>::infinity());

void checkExpiry(SelfTest& test) {
    test.expect(
        !isValid({.resetsAt = now, .now = now}) && isValid({.resetsAt = now, .now = now - 0.001}),
        "a window that has reached its reset is dead at once");
    const WindowTimes captured{.capturedAt = now - 600, .windowDurationMins = 300, .now = now};
    test.expect(expiresAt(captured) == now - 600 + 18'000 && isValid(captured),
                "without a reset a window ends its length after its capture");
    for (const WindowTimes& unknown :
         {WindowTimes{.windowDurationMins = 300, .now = now},
          WindowTimes{.capturedAt = now, .now = now},
          WindowTimes{.capturedAt = now, .windowDurationMins = 0, .now = now},
          WindowTimes{.capturedAt = never, .windowDurationMins = 300, .now = now},
          WindowTimes{
              .resetsAt = never, .capturedAt = now, .windowDurationMins = 300, .now = now}}) {
        test.expect(!expiresAt(unknown) && !validRemainingPercent(50.0, unknown),
                    "a window of unknown end is not shown");
    }
    test.expect(!isValid({.resetsAt = now, .now = Date(std::nan(""))}),
                "a clock that is not finite shows nothing");
    test.expect(validRemainingPercent(120.0, captured) == 100 &&
                    !validRemainingPercent(std::nan(""), captured),
                "a percentage is limited, and is a number");
}

void checkCountdown(SelfTest& test) {
    using Case = std::tuple<double, const char*, std::int64_t>;
    for (const auto& [seconds, hours, days] :
         {Case{1, "0.1", 1}, Case{3'600, "1", 1}, Case{3'601, "1.1", 1}, Case{16'500, "4.6", 1},
          Case{86'400, "24", 1}, Case{90'000, "25", 2}}) {
        const Countdown countdown{.resetsAt = now + seconds, .now = now};
        test.expect(remainingHoursText(countdown) == hours && remainingDays(countdown) == days,
                    std::string("a countdown is rounded up: ") + hours);
    }
    for (const Date gone : {now, now - 1, never, Date(1e300)}) {
        const Countdown countdown{.resetsAt = gone, .now = now};
        test.expect(!remainingHoursText(countdown) && !remainingDays(countdown),
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
    test.expect(shown.quotaRemainingPercent == 70 && shown.quotaResetsAt == now + 100,
                "a running window is shown");
    const auto expired = summary(runtime, now + 100);
    test.expect(!expired.quotaRemainingPercent && !expired.quotaResetsAt &&
                    expired.status == RuntimeMenuStatus::unavailable,
                "an expired window leaves its kind alone");
    runtime.snapshot.primary->resetsAt.reset();
    runtime.quotaCapturedAt.reset();
    runtime.snapshot.refreshedAt = now;
    test.expect(summary(runtime, now + 17'999).quotaRemainingPercent == 70 &&
                    !summary(runtime, now + 18'000).quotaRemainingPercent,
                "without a capture time of its own a quota is as old as its snapshot");
    runtime.snapshot.local = LocalUsage{};
    test.expect(summary(runtime, now + 18'000).status == RuntimeMenuStatus::localOnly,
                "local figures outlive the quota");
    test.expect(RateWindow{.usedPercent = 120}.remainingPercent() == 0 &&
                    RateWindow{.usedPercent = -5}.remainingPercent() == 100,
                "what remains stays in 0...100");
}

}  // namespace

bool run() {
    return SelfTest::run("quota window", {checkExpiry, checkCountdown, checkSelection});
}

}  // namespace vantry::QuotaWindowSelfTest
