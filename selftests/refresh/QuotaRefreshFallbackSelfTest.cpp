#include <fmt/format.h>

#include "presentation/status/RuntimeMenuSummary.h"
#include "presentation/status/StaleExplanations.h"
#include "refresh/QuotaRefreshFallbackPolicy.h"
#include "runtime/CodexRuntimeProvider.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::QuotaRefreshFallbackSelfTest {

using namespace QuotaRefreshFallbackPolicy;

namespace {

using Runtime = RuntimeUsageSnapshot;
using Menu = RuntimeMenuStatus;
using Official = OfficialUsageReadStatus;
using Local = LocalUsageReadStatus;

const Date now(1'800'000'000);
constexpr double day = 86'400;

// One side of a merge. What is not named was not asked for.
struct Side {
    double fiveHour = 0;  ///< seconds until the reset; 0 for no window
    double week = 0;
    double age = 0;  ///< of every figure
    Menu status = Menu::available;
    Official official = Official::notAttempted;
    std::optional<std::int64_t> lifetime;
    bool hasDays = false;
    Local local = Local::notAttempted;
    std::optional<std::int64_t> tokens;
    bool hasLogs = true;
    std::optional<std::string> identity = "A";
    std::optional<std::string> plan;
};

Runtime runtimeOf(const Side& side, const char* label) {
    Runtime runtime{.status = side.status, .quotaSourceLabel = label};
    const Date at = now - side.age;
    UsageSnapshot& s = runtime.snapshot;
    const auto window = [&](double reset) -> std::optional<RateWindow> {
        if (reset == 0) return std::nullopt;
        return RateWindow{.usedPercent = side.age, .resetsAt = now + reset};
    };
    s.refreshedAt = at;
    s.accountIdentity = side.identity;
    if (side.plan) s.account = AccountInfo{.planType = side.plan};
    s.primary = window(side.fiveHour);
    s.secondary = window(side.week);
    s.credits = CreditsInfo{.balance = label};
    runtime.quotaCapturedAt = at;
    s.officialUsageReadStatus = side.official;
    s.officialLifetimeTokens = side.lifetime;
    if (side.lifetime) s.officialLifetimeCapturedAt = at;
    s.cloudDailyUsageAttempted = side.official != Official::notAttempted;
    if (side.hasDays) s.cloudDailyBuckets.emplace();
    if (side.hasDays) s.cloudDailyUsageCapturedAt = at;
    s.localUsageReadStatus = side.local;
    if (side.tokens) s.local = LocalUsage{.todayTokens = side.tokens};
    if (side.tokens && side.hasLogs) s.local->detailedUsage.emplace();
    if (side.tokens) s.localUsageCapturedAt = at;
    return runtime;
}

Runtime merged(const Runtime& read, const Runtime& shown, bool sameDay = true, Date at = now) {
    return merge(
        {.incoming = read, .previous = &shown, .mayReusePreviousLocal = sameDay, .now = at});
}

bool tells(const Runtime& runtime, const Notice& notice) {
    return std::ranges::count(runtime.snapshot.messages, notice) == 1;
}

std::string ageOf(std::optional<Date> date, bool isStale = false) {
    return (date ? fmt::format("{}", now - *date) : "-") + (isStale ? "!" : "");
}

// Both windows by their age, the age of the quota, whose it is and whose credits.
std::string quotaText(const Runtime& runtime) {
    const auto percent = [](const std::optional<RateWindow>& window) {
        return window ? fmt::format("{}", window->usedPercent) : "-";
    };
    return fmt::format(
        "{}/{} {} {} {} {}", percent(runtime.snapshot.primary), percent(runtime.snapshot.secondary),
        ageOf(runtime.quotaCapturedAt, tells(runtime, {NoticeKind::quotaIsStale})),
        runtime.quotaSourceLabel, *runtime.snapshot.credits->balance, rawText(runtime.status));
}

std::string officialText(const Runtime& runtime) {
    const UsageSnapshot& s = runtime.snapshot;
    return fmt::format("{} {} {}, {} {}{}{}", s.officialLifetimeTokens.value_or(-1),
                       ageOf(s.officialLifetimeCapturedAt, s.officialLifetimeIsStale),
                       rawText(s.officialUsageReadStatus), s.cloudDailyBuckets ? "days" : "none",
                       ageOf(s.cloudDailyUsageCapturedAt, s.cloudDailyUsageIsStale),
                       tells(runtime, {NoticeKind::officialDaysAreStale}) ? " old" : "",
                       tells(runtime, {NoticeKind::officialDaysUnavailable}) ? " missing" : "");
}

std::string localText(const Runtime& runtime) {
    const UsageSnapshot& s = runtime.snapshot;
    return fmt::format("{} {} {}", s.local ? *s.local->todayTokens : -1,
                       ageOf(s.localUsageCapturedAt, s.localUsageIsStale),
                       rawText(s.localUsageReadStatus));
}

struct Row {
    Side read;
    Side shown;
    const char* text;
    bool sameDay = true;
};

void check(SelfTest& test, std::string (*textOf)(const Runtime&), const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        Runtime read = runtimeOf(row.read, "read");
        read.snapshot.messages.push_back({NoticeKind::officialDaysUnavailable});
        const Runtime result = merged(read, runtimeOf(row.shown, "shown"), row.sameDay);
        test.expect(textOf(result) == row.text, textOf(result) + " should be " + row.text);
        const Runtime later = merged(runtimeOf({}, "quota"), result);
        test.expect(
            officialText(later) == officialText(result) && localText(later) == localText(result),
            "a quota read changes neither history nor local usage");
    }
}

void checkQuota(SelfTest& test) {
    const Side live{0, day, 9};
    const Side old{0, day, 9, Menu::stale};
    const Side plus{.fiveHour = 60, .week = day, .age = 9, .plan = "Plus "};
    const Side expiredPlus{.fiveHour = -1, .week = day, .age = 9, .plan = "plus"};
    const Side local{.local = Local::complete, .tokens = 5};
    check(test, quotaText,
          {{{}, live, "-/9 9! shown read stale"},
           {{}, plus, "9/9 9! shown read stale"},
           {local, {0, -1, 9}, "-/- - read read localOnly"},
           {local, expiredPlus, "-/9 9! shown read localOnly"},
           {{}, expiredPlus, "-/9 9! shown read unavailable"},
           {{.fiveHour = -1, .age = 5, .plan = "plus"}, {}, "-/- - read read unavailable"},
           {{.fiveHour = 60}, plus, "0/- 0 read read available"},
           {{0, day, 0}, old, "-/0 0 read read available"},
           {{0, day, 5}, live, "-/5 5 read read available"},
           {{0, day, 12}, live, "-/9 9 shown shown available"},
           {{0, day, 12, Menu::stale}, live, "-/9 9 shown shown available"},
           {{0, day, 12}, old, "-/9 9! shown shown stale"},
           {{0, day, 12}, {0, -1, 9}, "-/12 12 read read available"},
           {{0, day, 5, Menu::stale}, live, "-/5 5! read read stale"}});
}

void checkOfficial(SelfTest& test) {
    const auto side = [](Official status, std::optional<std::int64_t> lifetime, bool hasDays) {
        return Side{.official = status, .lifetime = lifetime, .hasDays = hasDays};
    };
    const Side failed = side(Official::failed, {}, false);
    Side all = side(Official::succeeded, 100, true);
    Side cleared = side(Official::succeeded, {}, true);
    all.age = cleared.age = 9;
    check(test, officialText,
          {{failed, all, "100 9! failed, days 9! old"},
           {{}, all, "100 9 succeeded, days 9"},
           {side(Official::succeeded, {}, false), all, "-1 - succeeded, days 9! old"},
           {side(Official::succeeded, 105, false), all, "105 0 succeeded, days 9! old"},
           {failed, cleared, "-1 - failed, days 9! old"},
           {side(Official::failed, 80, false), cleared, "-1 - failed, days 9! old"},
           {side(Official::failed, 80, true), failed, "80 0 failed, days 0"},
           {failed, failed, "-1 - failed, none - missing"}});
}

void checkLocal(SelfTest& test) {
    const auto side = [](Local status, std::optional<std::int64_t> tokens, bool hasLogs = true) {
        return Side{.local = status, .tokens = tokens, .hasLogs = hasLogs};
    };
    const Side failed = side(Local::unavailable, {});
    const Side partial = side(Local::unavailable, 5, false);
    Side complete = side(Local::complete, 7);
    Side fallback = side(Local::staleFallback, 7);
    complete.age = fallback.age = 9;
    check(test, localText,
          {{side(Local::complete, 5), complete, "5 0 complete"},
           {side(Local::complete, 5, false), complete, "5 0 complete"},
           {failed, complete, "7 9! staleFallback"},
           {failed, fallback, "7 9! staleFallback"},
           {failed, complete, "-1 - unavailable", false},
           {failed, partial, "-1 - unavailable"},
           {partial, complete, "7 9! staleFallback"},
           {partial, complete, "5 0 unavailable", false},
           {side(Local::staleFallback, {}), complete, "7 9! staleFallback"},
           {side(Local::staleFallback, {}), complete, "-1 - unavailable", false},
           {side(Local::staleFallback, 5), complete, "5 0 staleFallback"},
           {{}, complete, "7 9 complete"},
           {{}, complete, "-1 - notAttempted", false}});
}

const Side everything{.week = day,
                      .age = 9,
                      .official = Official::succeeded,
                      .lifetime = 100,
                      .hasDays = true,
                      .local = Local::complete,
                      .tokens = 7,
                      .plan = "pro"};
const Side failure{.official = Official::failed, .local = Local::unavailable};

// A window that does not say when it resets ends its length after its capture, whatever is
// refreshed meanwhile.
void checkCaptureTime(SelfTest& test) {
    Runtime first = runtimeOf(everything, "shown");
    first.snapshot.account->planType = "plus";
    first.snapshot.primary = RateWindow{.usedPercent = 20, .windowDurationMins = 300};
    first.snapshot.secondary = RateWindow{.usedPercent = 20, .windowDurationMins = 400};
    const Date end = now - 9 + 18'000;
    const Runtime read = runtimeOf(failure, "read");
    Runtime kept =
        replacingLocalUsage(merged(read, first), {.result = {.local = LocalUsage{}}, .at = end});
    test.expect(kept.quotaCapturedAt == now - 9 && kept.snapshot.refreshedAt == end &&
                    officialText(kept) == "100 9! failed, days 9! old" &&
                    merged(read, kept, true, end - 1).status == Menu::stale,
                "a local refresh leaves the official marks, and the window lives until its end");
    kept = merged(read, kept, true, end);
    test.expect(!kept.snapshot.primary && kept.snapshot.secondary &&
                    !summary(kept, end).quotaRemainingPercent &&
                    !merged(read, kept, true, end + 6'000).snapshot.secondary,
                "and not longer; the other window lives for its own time, beside it");
    first.quotaCapturedAt.reset();
    test.expect(!merged(read, first).snapshot.primary, "a window of unknown age is not kept");
}

void checkAccounts(SelfTest& test) {
    using Identity = std::optional<std::string>;
    const std::vector<std::pair<Identity, Identity>> pairs{{"A", "A"}, {"B", "A"}, {{}, "A"},
                                                           {"A", {}},  {{}, {}},   {"", ""}};
    for (const auto& [identity, before] : pairs) {
        Runtime read = runtimeOf({}, "read");
        Runtime shown = runtimeOf(everything, "shown");
        read.snapshot.accountIdentity = identity;
        shown.snapshot.accountIdentity = before;
        shown.snapshot.taskBoard.emplace();
        shown.snapshot.hybridReadMessages = said({"days"});
        const Runtime pure = merged(read, shown);
        test.expect(pure.snapshot.local && pure.snapshot.taskBoard, "local is of every account");
        shown.snapshot.local->usageTrend = UsageTrend{.sourceQuality = UsageSourceQuality::hybrid};
        const Runtime result = merged(read, shown);
        const UsageSnapshot& s = result.snapshot;
        const int kept = s.account.has_value() + s.secondary.has_value() + s.local.has_value() +
                         s.officialLifetimeTokens.has_value() + s.cloudDailyBuckets.has_value() +
                         tells(result, said({"days"})[0]);
        const bool isSame = identity == "A" && before == "A";
        test.expect(kept == (isSame ? 6 : 0), "what is of an account is of that account alone");
    }
    const Runtime cold = runtimeOf(failure, "read");
    test.expect(merge({.incoming = cold, .now = now}) == cold, "a cold failure stands as it is");
}

void checkWordsAndState(SelfTest& test) {
    Runtime shown = runtimeOf(everything, "shown");
    shown.snapshot.messages = said({"old", "old local", "old days"});
    shown.snapshot.localReadMessages = said({"old local"});
    shown.snapshot.hybridReadMessages = said({"old days"});
    shown.snapshot.readerState.localDependencyFailure =
        LocalReaderDependencyFailure::databaseMissing;
    shown.snapshot.taskBoard.emplace();
    shown.snapshot.taskBoard->columns = {{.items = {{.tokens = 5, .threadID = "t"}}}};
    Runtime read = runtimeOf(failure, "read");
    read.snapshot.messages = said({"quota", "quota", "local", "days"});
    read.snapshot.messages.insert(read.snapshot.messages.begin() + 1,
                                  {NoticeKind::officialDaysAreStale});
    read.snapshot.localReadMessages = said({"local"});
    read.snapshot.hybridReadMessages = said({"days", "local"});
    const Runtime fallback = merged(read, shown);
    Notices told = said({"quota", "local", "days"});
    told.insert(told.begin() + 1, {{NoticeKind::quotaIsStale}, {NoticeKind::officialDaysAreStale}});
    test.expect(fallback.snapshot.messages == told &&
                    merged(read, fallback).snapshot.messages == told &&
                    !fallback.snapshot.readerState.localDependencyFailure,
                "a read replaces the words of its sources, each text once");
    const Runtime quota = merged(runtimeOf({}, "read"), shown);
    test.expect(tells(quota, said({"old local"})[0]) && tells(quota, said({"old days"})[0]) &&
                    !tells(quota, said({"old"})[0]) &&
                    quota.snapshot.readerState.localDependencyFailure,
                "a quota read leaves the diagnosis of what it did not read");
    test.expect(!merged(read, shown, false).snapshot.taskBoard->columns[0].items[0].tokens,
                "a board that outlives its usage shows no tokens of another day");

    const auto explained = [](const Runtime& runtime, Date at) {
        std::vector<std::string> texts;
        for (const auto& text : staleExplanations(runtime, at)) texts.emplace_back(text.zh);
        return texts;
    };
    Runtime ageless = fallback;
    ageless.snapshot.localUsageCapturedAt.reset();
    test.expect(explained(ageless, now) ==
                        std::vector<std::string>{"额度数据暂时陈旧", "用量数据暂时陈旧"} &&
                    explained(fallback, now + day) == std::vector<std::string>{"用量数据暂时陈旧"},
                "each stale source has its own words, as long as it is shown");
    test.expect(hasLocalReadFailure({{NoticeKind::accountChanged}, {NoticeKind::sqliteMissing}}) &&
                    hasLocalReadFailure({{NoticeKind::databaseQueryFailed}}) &&
                    !hasLocalReadFailure({{NoticeKind::tokenEventsMissing}}),
                "the notices of a failed local read");
}

}  // namespace

bool run() {
    return SelfTest::run("quota refresh fallback",
                         {checkQuota, checkOfficial, checkLocal, checkCaptureTime, checkAccounts,
                          checkWordsAndState});
}

}  // namespace vantry::QuotaRefreshFallbackSelfTest
