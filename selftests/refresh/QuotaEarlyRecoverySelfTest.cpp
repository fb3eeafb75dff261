#include <functional>
#include <sstream>

#include "refresh/QuotaEarlyRecoveryDetector.h"
#include "refresh/QuotaEarlyRecoveryReading.h"
#include "refresh/QuotaEarlyRecoveryRules.h"
#include "refresh/QuotaEarlyRecoveryStateStore.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::QuotaEarlyRecoverySelfTest {

namespace {

using Store = QuotaEarlyRecoveryStateStore;

const Date start(1'800'000'000.125);

/// One read, in seconds after the start.
struct Read {
    double at = 0;
    double remaining = 0;
    std::optional<std::int64_t> credits = 2;
    const char* plan = "pro";
    double resetsAt = 14'400;
    double lag = 0;  ///< from the capture to the processing
    bool isFresh = true;
    bool isPartial = false;
    const char* account = "A";
};

/// "60:100" is a read of 100 % after 60 seconds. Behind it can stand: #1 and ?, its reset credits;
/// @900, the time of its reset; >20, how late it is processed; + for Plus, x for an unknown plan;
/// s for a stale read, p for a partial one; b for another account, n for one that is not known.
Read readIn(const std::string& text) {
    std::istringstream in(text);
    Read read{};
    char mark = 0;
    for (in >> read.at >> mark >> read.remaining; in >> mark;) {
        if (mark == '#') in >> read.credits.emplace();
        if (mark == '?') read.credits.reset();
        if (mark == '@') in >> read.resetsAt;
        if (mark == '>') in >> read.lag;
        if (mark == '+') read.plan = "plus";
        if (mark == 'x') read.plan = "team";
        if (mark == 's') read.isFresh = false;
        if (mark == 'p') read.isPartial = true;
        if (mark == 'b') read.account = "B";
        if (mark == 'n') read.account = "";
    }
    return read;
}

QuotaEarlyRecoveryRead readOf(const Read& read) {
    const bool isPlus = std::string_view(read.plan) == "plus";
    return {.accountIdentity = read.account,
            .planType = read.plan,
            .window = RateWindow{.usedPercent = 100 - read.remaining,
                                 .windowDurationMins = isPlus != read.isPartial ? 300 : 10'080,
                                 .resetsAt = start + read.resetsAt},
            .resetCredits = read.credits,
            .capturedAt = start + read.at,
            .now = start + read.at + read.lag,
            .isFresh = read.isFresh};
}

void restart(QuotaEarlyRecoveryDetector& detector) {
    detector.state = Store::decoded(Store::encoded(detector.state).value());
}

/// What reads lead to: '-' nothing, 'c' a confirmation, '!' a notification.
std::string outcome(const std::string& reads, QuotaEarlyRecoveryDetector& detector,
                    bool restarts = false) {
    std::string letters;
    std::istringstream words(reads);
    for (std::string word; words >> word;) {
        if (restarts) restart(detector);
        letters += "c!-"[detector.observe(readOf(readIn(word))).index()];
    }
    return letters;
}

void checkSequences(SelfTest& test) {
    using Case = std::tuple<const char*, const char*, std::string>;
    const Case cases[] = {
        {"a first read of 100 % says nothing", "0:100 20:100 40:100", "---"},
        {"from 95 % to full", "0:95 60:100 75:100", "-c!"},
        {"five points suffice", "0:94.5 60:99.5 75:99.5", "-c!"},
        {"fewer do not", "0:94.6 60:99.5", "--"},
        {"nor does less than full", "0:50 60:99.4", "--"},
        {"reads ten minutes apart compare", "0:50 600:100", "-c"},
        {"reads further apart do not", "0:50 601:100", "--"},
        {"samples must be taken late enough", "0:50 60:100 70:100 74:100>30 75:100", "-ccc!"},
        {"and the clock must have come there", "0:50 60:100 80:100>-10 81:100", "-cc!"},
        {"an old baseline that comes late", "10:50 5:99>10 60:100", "--c"},
        {"an old sample that comes late", "0:50 60:100 59:40>30 80:100", "-cc!"},
        {"a jump that does not last", "0:50 60:100 75:99.4 90:100", "-c--"},
        {"a new reset time", "0:50 60:100@9e4 80:100@90060", "-c!"},
        {"a reset time that moves on", "0:50 60:100@9e4 80:100@90061", "-c-"},
        {"one reset, one notification", "0:50 60:100 75:100 90:100 120:50 150:100", "-c!---"},
        {"an older window served again", "0:50 60:100 75:100@14440 90:50 99:100@9e4", "-c!--"},
        {"or a recovery to it", "0:50 60:100 75:100 90:50@9e4 99:100", "-c!--"},
        {"or a confirmation of it",
         "0:50 60:100@9e4 75:100@9e4 90:50@9e4 99:100@14500 115:100@14450", "-c!-c-"},
        {"a window two generations older",
         "0:50 60:100@9e4 75:100@9e4 90:50@9e4 100:100@2e5 115:100@2e5 130:50 140:100@2e5",
         "-c!-c!--"},
        {"each plan has its own key", "0:50 60:100 75:100 90:50+ 100:100+ 115:100+ 130:50 140:100",
         "-c!-c!--"},
        {"a stale read ends a candidate", "0:50 60:100 75:100s 80:100 95:100", "-c-c!"},
        {"so does a partial one", "0:50 60:100 75:100p 80:100", "-c-c"},
        {"or one out of range", "0:50 60:100 75:100.1 80:-0.1 85:100", "-c--c"},
        {"or one from the future", "0:50 60:100 375:100>-301 376:100>-300", "-c-c"},
        {"or from a window that has ended", "0:50 60:100@130 116:100@120>9", "-c-"},
        {"Pro is quiet ten minutes before its reset", "13700:50 13800:100", "--"},
        {"and not earlier", "13700:50 13799:100", "-c"},
        {"nor does it confirm there", "13700:50 13785:100 13800:100", "-c-"},
        {"Plus is quiet for five", "14000:50+ 14100:100+", "--"},
        {"and not for six", "14000:50+ 14040:100+", "-c"},
        {"a credit spent with the jump", "0:50 60:100#1 80:100#1", "---"},
        {"or before, which explains one", "0:50 30:50#1 60:100#1 90:50#1 99:100#1", "----c"},
        {"or seen with the confirmation", "0:50 60:100 75:100#1", "-c-"},
        {"also when it had risen before", "0:50 60:100#3 75:100", "-c-"},
        {"a count that rises explains nothing", "0:50+ 60:100#3+ 75:100#3+", "-c!"},
        {"a spent credit is seen after a gap", "0:50 5000:50#1 5060:100#1", "---"},
        {"for ten minutes", "0:50 10:50#1 500:50#1 610:100#1", "----"},
        {"and no longer", "0:50 10:50#1 500:50#1 611:100#1", "---c"},
        {"nor across plans", "0:50+ 60:100+ 70:50#1 80:100#1", "-c-c"},
        {"nor after another plan", "0:50 10:50#1 20:50#1+ 30:50#1 40:100#1", "----c"},
        {"no count before", "0:50? 60:100", "--"},
        {"no count after", "0:50 60:100#-1 80:100", "---"},
        {"no count at the confirmation", "0:50 60:100 75:100?", "-c-"},
        {"plans are not compared", "0:50+ 60:100 75:100", "---"},
        {"nor does one confirm the other's", "0:50 60:100 75:100+", "-c-"},
        {"an unknown plan ends everything", "0:50 30:50x 60:100", "---"},
        {"accounts are not compared", "0:50 60:100b 75:100b", "---"},
        {"nor do they confirm each other's", "0:50 60:100 75:100b 90:100b", "-c--"},
        {"nor does a credit of one explain the other's jump", "0:50 9:50#1 20:50b 30:100b", "---c"},
        {"an account that is not known is not compared", "0:50n 60:100n 75:100 80:100", "----"},
        {"and ends a candidate", "0:50 60:100 75:100n 90:100", "-c-c"},
        {"each account has its own key, which is kept",
         "0:50 60:100 75:100 90:50b 100:100b 115:100b 130:50 140:100", "-c!-c!--"},
        {"a reset as far as a window and its grace", "0:50+@19800 60:100+", "-c"},
        {"and no further", "0:50+@19801 60:100+", "--"},
        {"a clock that was set back", "400:50 60:50 120:100", "--c"},
        {"a candidate waits ten minutes", "0:50 60:100 675:100", "-c!"},
        {"and no longer", "0:50 60:100 676:100", "-c-"},
    };
    for (const auto& [what, reads, expected] : cases) {
        for (const bool restarts : {false, true}) {
            QuotaEarlyRecoveryDetector detector;
            const bool leavesKey = expected.find('!') != std::string::npos;
            const bool agrees = outcome(reads, detector, restarts) == expected;
            test.expect(agrees && detector.state.lastNotification.has_value() == leavesKey, what);
        }
    }
}

void checkAnswers(SelfTest& test) {
    QuotaEarlyRecoveryDetector detector;
    outcome("0:40 60:100", detector);
    test.expect(detector.remainingConfirmationDelay(start + 70) == 5 &&
                    detector.remainingConfirmationDelay(start + 80) == 0.1,
                "a confirmation that is due is read at once");
    const QuotaEarlyRecoveryRead read = readOf({90, 99.5, 2, " Pro\n", 14'430});
    const QuotaEarlyRecoveryDecision expected = QuotaEarlyRecoveryEvent{
        RuntimeQuotaWindowKind::sevenDay, 40, 99.5, start + 14'400, start + 90};
    test.expect(QuotaEarlyRecoveryDetector(detector).observe(read) == expected,
                "the event tells what was before, and when the reset would have been");

    outcome("0:50+ 60:100+", detector = {});
    const auto plus = detector.observe(readOf(readIn("75:100+")));
    test.expect(
        std::get<QuotaEarlyRecoveryEvent>(plus).windowKind == RuntimeQuotaWindowKind::fiveHour,
        "the event of a Plus plan is about five hours");
}

void checkStore(SelfTest& test) {
    const TemporaryDirectory directory("vantry-early-recovery-");
    UserDefaults defaults(directory.path(), "test");
    Store store(defaults);
    QuotaEarlyRecoveryDetector detector;
    outcome("0:50 60:100 75:100 90:50#1", detector);
    test.expect(detector.state.manualResetEvidence && store.save(detector.state, start) &&
                    Store(defaults).load() == detector.state,
                "the state outlives the program");
    auto broken = detector.state;
    broken.baseline->resetsAt = Date(NAN);
    test.expect(!store.save(broken, start) && store.load() == detector.state,
                "what cannot be read back is not stored");
    const std::string old =
        R"({"baseline":{"planType":"pro","windowDurationMins":10080,"remainingPercent":50,)"
        R"("resetsAt":700000900,"capturedAt":700000000.5}})";
    const auto decoded = Store::decoded(old);
    test.expect(decoded.baseline && !decoded.baseline->resetCredits &&
                    decoded.baseline->capturedAt == Date(1'678'307'200.5) &&
                    Store::encoded({}) == "{}",
                "dates count from 2001, and what is absent is left out");
    QuotaEarlyRecoveryDetector older;
    outcome("0:50 60:100 75:100 90:50", older);
    older.state.accountIdentity.reset();
    older.state.lastNotification->accountIdentity.reset();
    restart(older);
    test.expect(outcome("99:100 110:50 120:100", older) == "---",
                "an older state is compared with nothing, and what it notified may be anybody's");
    // Two programs at once have a queue each, and meet in the file.
    UserDefaults theirs(directory.path(), "test");
    QuotaEarlyRecoveryDetector other;
    outcome("0:50+ 60:100+ 75:100+", other);
    Store(theirs).save(other.state, start);
    theirs.flush();
    auto later = detector.state;
    later.baseline.reset();
    test.expect(store.save(later, start) && defaults.flush(), "a program stores what it knows");
    const auto both = Store(theirs).load();
    test.expect(both.lastNotification == later.lastNotification && both.earlierNotifications &&
                    both.earlierNotifications->front() == other.state.lastNotification,
                "and what another one announced is not lost");
    QuotaEarlyRecovery::adoptNotifications(later, both, start + 14'461);
    test.expect(!later.earlierNotifications, "until its reset has passed");
    for (const char* text : {"", "[]", R"({"pending":{}})", R"({"lastNotification":7})"}) {
        test.expect(Store::decoded(text) == Store::State{}, "a damaged state is an empty one");
    }
}

void checkFreshness(SelfTest& test) {
    using Runtime = RuntimeUsageSnapshot;
    Runtime good{.snapshot = {.refreshedAt = start}, .status = RuntimeMenuStatus::available};
    good.snapshot.primary = RateWindow{.usedPercent = 10, .windowDurationMins = 300};
    good.snapshot.secondary = RateWindow{.usedPercent = 20, .windowDurationMins = 10'080};
    good.snapshot.credits = CreditsInfo{.resetCredits = 3};
    const auto read = [](const char* plan, const Runtime& merged, const Runtime& raw) {
        return quotaEarlyRecoveryRead({merged, raw, plan, start + 1});
    };
    Runtime weekly = good;
    weekly.snapshot.primary.reset();
    const auto plus = read("plus", good, good);
    test.expect(plus.isFresh && plus.window == good.snapshot.primary && plus.resetCredits == 3 &&
                    plus.capturedAt == start && read("pro", weekly, good).isFresh,
                "a read is fresh when the plan's own window of it is shown");
    Runtime marked = good;
    marked.snapshot.messages = {{NoticeKind::quotaIsStale}};
    Runtime failed = good;
    failed.status = RuntimeMenuStatus::stale;
    Runtime older = good;
    older.quotaCapturedAt = start;
    test.expect(!read("plus", weekly, good).isFresh && !read("plus", weekly, weekly).isFresh &&
                    !read("pro", marked, marked).isFresh && !read("pro", failed, failed).isFresh &&
                    !read("pro", older, good).isFresh && !read("team", good, good).isFresh,
                "and never otherwise");
}

}  // namespace

bool run() {
    return SelfTest::run("quota early recovery",
                         {checkSequences, checkAnswers, checkStore, checkFreshness});
}

}  // namespace vantry::QuotaEarlyRecoverySelfTest
