
#include <fmt/format.h>

#include "io/BoundedCacheData.h"
#include "official/HybridDailyUsage.h"
#include "official/OfficialDailyUsageCache.h"
#include "official/SignIn.h"
#include "platform/Text.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"
#include "statistics/UsageTrendCalculation.h"

namespace vantry::OfficialDailyUsageSelfTest {

using namespace CodexUsageReader;

namespace {

using Days = std::optional<std::vector<DailyTokenBucket>>;
using Words = std::vector<std::string>;

// A service that still counts the first of July while a clock in Tokyo shows the second.
const Date now = at("2026-07-01T16:30:00Z");
const std::optional<std::string> owner = "codex-account:a";

RuntimeLoadContext contextAt(Date time, const std::filesystem::path& caches = {}) {
    return {.now = time,
            .homeDirectory = "/nonexistent",
            .cacheDirectory = caches,
            .statistics = contextIn("Asia/Tokyo", time)};
}

const CachedOfficialDailyUsage usage{.buckets = {{.id = "2026-06-30", .label = "6/30", .tokens = 5},
                                                 {.id = "2026-07-01", .label = "7/1", .tokens = 7}},
                                     .officialLifetimeTokens = 99,
                                     .officialLifetimeCapturedAt = now - 3,
                                     .capturedAt = now - 0.125};

void checkParsing(SelfTest& test) {
    const auto parse = [](const std::string& result, Notices& messages) {
        const auto document = JsonDocument::parse(result);
        return parseCloudDailyBuckets(
            {.result = document->root(), .now = now, .messages = messages});
    };
    const std::string good = R"({"startDate":"2026-06-30","tokens":5})";
    constexpr std::string_view damaged = R"(
        "2026-6-030","tokens":1| "2026-06-1","tokens":1| "2026-06-31","tokens":1|
        "0000-01-01","tokens":1| "2026-07-02","tokens":1| "2026-06-30","tokens":5|
        "2026-06-29","tokens":-1| "2026-06-29","tokens":1.5| 20260629,"tokens":1| "2026-06-29"|
        "2026-06-29","tokens":9223372036854775808| "2026-06-29","tokens":"many","totalTokens":1)";
    for (const std::string_view rest : splitOmittingEmpty(damaged, '|')) {
        Notices messages;
        const std::string bucket = R"({"startDate":)" + std::string(rest) + "}";
        const bool isRefused =
            !parse(fmt::format(R"({{"dailyUsageBuckets":[{},{}]}})", good, bucket), messages);
        test.expect(
            isRefused && wordsOf(messages) == Words{"Codex 官方日统计格式异常，未采用该批数据"},
            "Codex 官方日统计损坏时应整批弃用: " + bucket);
    }
    Notices messages;
    const std::string later = R"({"startDate":"2026-07-01","tokens":null,"totalTokens":"7"},)";
    const Days days =
        parse(R"({"summary":{"dailyUsageBuckets":[)" + later + good + "]}}", messages);
    test.expect(days == usage.buckets && parse(R"({"dailyUsageBuckets":[]})", messages) &&
                    !parse(R"({"summary":{},"dailyUsageBuckets":null})", messages) &&
                    messages.empty() && !parse(R"({"dailyUsageBuckets":{}})", messages) &&
                    messages.size() == 1,
                "a good batch, one without days, no batch, and no list");
    const auto document = JsonDocument::parse(R"({"summary":{},"lifetimeTokens":"8"})");
    test.expect(parseOfficialLifetimeTokens(document->root(), messages) == 8 &&
                    !parseOfficialLifetimeTokens(JsonView(), messages) && messages.size() == 1,
                "a total, and no total");
}

void checkCache(SelfTest& test) {
    const TemporaryDirectory directory("vantry-official-usage-");
    const auto context = contextAt(now, directory.path());
    const auto file = officialDailyUsageCacheURL(directory.path());
    const auto read = [&] { return readPersistentOfficialDailyUsageCache(context, owner); };
    const auto write = [&](const std::optional<std::string>& account,
                           const CachedOfficialDailyUsage& batch) {
        writePersistentOfficialDailyUsageCache(
            {.context = context, .accountIdentity = account, .usage = batch});
    };
    write(std::nullopt, usage);
    test.expect(!std::filesystem::exists(file), "a batch of nobody is not kept");
    write(owner, usage);
    const auto later = contextAt(now + 90'000, directory.path());
    test.expect(read() == usage && readPersistentOfficialDailyUsageCache(later, owner) == usage,
                "官方完整日桶冷启动缓存必须有界、整批校验并保留原捕获时间");
    test.expect(!readPersistentOfficialDailyUsageCache(context, "codex-account:b"),
                "another account's history never appears");
    CachedOfficialDailyUsage huge = usage;
    huge.buckets.front().id.assign(officialDailyUsageCacheByteLimit, '0');
    write(owner, huge);
    test.expect(read() == usage, "a batch that is too large leaves the old one");

    const std::string kept = *boundedCacheData(file, officialDailyUsageCacheByteLimit);
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string text = kept;
        return text.replace(text.find(from), from.size(), to);
    };
    const std::string fitting =
        kept + std::string(officialDailyUsageCacheByteLimit - kept.size(), ' ');
    directory.write(file, fitting);
    test.expect(read() == usage, "a file as large as it may be");
    const std::pair<const char*, std::string> refused[] = {
        {"a larger file", fitting + ' '},
        {"another version", with("\"version\":2", "\"version\":3")},
        {"no JSON", kept.substr(1)},
        {"a bad bucket", with("2026-07-01", "2026-06-30")},
        {"a count that is no integer", with("\"tokens\":7", "\"tokens\":7.5")},
        {"a total of no time", with("\"officialLifetimeCapturedAt\"", "\"other\"")},
        {"a total from the future", with("LifetimeCapturedAt\":", "LifetimeCapturedAt\":1")},
        {"days from the future", with("\"capturedAt\":", "\"capturedAt\":1")}};
    for (const auto& [what, text] : refused) {
        directory.write(file, text);
        test.expect(!read(), what);
    }
    const auto target = directory.write("linked-cache.json", kept);
    std::filesystem::remove(file);
    std::filesystem::create_symlink(target, file);
    test.expect(!read(), "a link");
}

void checkPersistence(SelfTest& test) {
    const TemporaryDirectory directory("vantry-official-usage-");
    const auto context = contextAt(now, directory.path());
    const auto resolved = [&](AppServerSnapshot session,
                              const std::optional<UsageSnapshot>& previous = {}) {
        resolveOfficialDailyUsagePersistence(
            {.snapshot = session, .previousSnapshot = previous, .context = context});
        return session;
    };
    const AppServerSnapshot fresh{.readState = AppServerReadState::responded,
                                  .accountIdentity = owner,
                                  .officialLifetimeTokens = usage.officialLifetimeTokens,
                                  .officialLifetimeCapturedAt = usage.officialLifetimeCapturedAt,
                                  .officialUsageReadStatus = OfficialUsageReadStatus::succeeded,
                                  .cloudDailyBuckets = usage.buckets,
                                  .cloudDailyUsageCapturedAt = usage.capturedAt};
    test.expect(resolved(fresh) == fresh, "what is fresh stays as it came");
    const AppServerSnapshot failed{.readState = AppServerReadState::responded,
                                   .accountIdentity = owner,
                                   .officialUsageReadStatus = OfficialUsageReadStatus::failed};
    AppServerSnapshot stale = fresh;
    stale.officialUsageReadStatus = OfficialUsageReadStatus::failed;
    stale.cloudDailyUsageIsStale = stale.officialLifetimeIsStale = true;
    test.expect(resolved(failed) == stale, "a cold start shows the last history, and says so");

    UsageSnapshot previous{.accountIdentity = owner,
                           .cloudDailyBuckets = Days(std::in_place),
                           .cloudDailyUsageCapturedAt = now - 900};
    const AppServerSnapshot warm = resolved(failed, previous);
    test.expect(warm.cloudDailyBuckets == previous.cloudDailyBuckets &&
                    warm.cloudDailyUsageIsStale && warm.cloudDailyUsageCapturedAt == now - 900 &&
                    !warm.officialLifetimeTokens,
                "the days before come before those of the disk, with the total they had");
    previous.accountIdentity = "codex-account:b";
    test.expect(resolved(failed, previous) == stale, "days of another account are not taken over");
    const AppServerSnapshot nobody{.readState = AppServerReadState::responded};
    test.expect(resolved(nobody, previous) == nobody, "an account without a name has no history");
    AppServerSnapshot totalOnly = fresh;
    totalOnly.cloudDailyBuckets.reset();
    const AppServerSnapshot half = resolved(totalOnly);
    test.expect(half.cloudDailyUsageIsStale && !half.officialLifetimeIsStale,
                "a new total keeps its own freshness");
}

// Who is signed in, told by a file that nobody touched.
void checkSignIn(SelfTest& test) {
    const TemporaryDirectory directory("vantry-sign-in-");
    const auto file = directory.write("auth.json", "of a");
    const auto settled = [&](const char* identity, bool moves = false, bool metTwo = false) {
        AppServerSnapshot session{.metTwoAccounts = metTwo};
        if (*identity != '\0') session.accountIdentity = identity;
        const auto before = SignIn::markOf(directory.path());
        if (moves) directory.write("auth.json", "is new");
        SignIn::settleIdentity({.snapshot = session,
                                .cacheDirectory = directory.path(),
                                .before = before,
                                .after = SignIn::markOf(directory.path())});
        return session.accountIdentity.value_or("");
    };
    test.expect(settled("").empty() && settled("a") == "a" && settled("") == "a",
                "a session without the service is of whoever is still signed in");
    test.expect(settled("", false, true).empty(), "but not one that met two accounts");
    test.expect(settled("", true).empty() && settled("").empty(), "another file is anybody's");
    test.expect(settled("b", true) == "b" && settled("").empty(),
                "nobody is bound to a file that moved meanwhile");
    settled("b");
    test.expect(settled("") == "b", "the next one is");
    std::filesystem::remove(file);
    test.expect(settled("").empty() && settled("c") == "c" && settled("").empty(),
                "without a file nobody is known");
}

/// Days of the service from the first of January 2026 on, the n-th with 1,000 + n tokens.
std::vector<DailyTokenBucket> officialDays(int count) {
    std::vector<DailyTokenBucket> days;
    const Date first = at("2026-01-01T00:00:00Z");
    for (int n = 0; n < count; ++n) {
        const std::string key = iso8601Text(first + n * 86'400.0)->substr(0, 10);
        days.push_back({.id = key, .label = "", .tokens = 1'000 + n});
    }
    return days;
}

using TokensByDay = std::map<std::string, std::int64_t>;

LocalUsage localUsage(const TokensByDay& days) {
    LocalUsage local{.lifetimeTokens = 1, .todayTokens = 2, .sevenDayTokens = 3};
    local.detailedUsage = DetailedUsage{.parsedFileCount = 4};
    auto& curve = local.detailedUsage->previousSevenDayAverageCumulativeBuckets.emplace();
    for (int hour = 0; hour < 24; ++hour) curve.push_back({.hour = hour, .tokens = hour * 10});
    local.usageTrend.emplace();
    for (const auto& [key, tokens] : days) {
        const TokenBreakdown split{.inputTokens = tokens, .totalTokens = tokens};
        local.usageTrend->dayBuckets.push_back(
            {.id = key, .usage = {.tokens = split, .estimatedCostUSD = 0.5}});
    }
    return local;
}

HybridDailyUsage merged(LocalUsage local, const Days& days,
                        const RuntimeLoadContext& context = contextAt(now)) {
    return mergeCloudDailyUsage(
        {.cloudDailyBuckets = days, .into = std::move(local), .context = context});
}

TokensByDay tokensOf(const std::vector<DailyTokenBucket>& buckets) {
    TokensByDay tokens;
    for (const DailyTokenBucket& bucket : buckets) tokens[bucket.id] += bucket.tokens;
    return tokens;
}

bool isKnown(const LocalUsage& local, const std::string& key) {
    return std::ranges::any_of(local.usageTrend->heatmapWeeks, [&](const auto& week) {
        return std::ranges::any_of(
            week, [&](const UsageHeatmapDay& day) { return day.id == key && day.usage; });
    });
}

void checkHalfAYear(SelfTest& test) {
    std::vector<DailyTokenBucket> official = officialDays(182);  // to the first of July
    std::erase_if(official, [](const auto& day) { return day.id == "2026-03-15"; });
    const LocalUsage before = localUsage({{"2026-03-15", 60'000},
                                          {"2026-06-30", 70'000},
                                          {"2026-07-01", 80'000},
                                          {"2026-07-02", 0}});
    const auto [local, messages] = merged(before, official);
    TokensByDay expected = tokensOf(official);
    expected["2026-07-01"] = 80'000;
    expected["2026-07-02"] = 0;
    test.expect(messages.empty() && tokensOf(local.dailyBuckets) == expected &&
                    local.dailyBuckets.size() == expected.size() &&
                    local.dailyBuckets.back().label == "7/2",
                "every day comes from exactly one source");
    const UsageTrend& trend = *local.usageTrend;
    std::int64_t sum = 0;
    for (const auto& [key, tokens] : expected) sum += tokens;
    test.expect(visibleTokens(trend.dayBuckets) == sum &&
                    trend.sourceQuality == UsageSourceQuality::hybrid &&
                    trend.dayBuckets.end()[-2].sourceQuality == UsageSourceQuality::detailed &&
                    trend.dayBuckets.end()[-3].sourceQuality == UsageSourceQuality::official,
                "nothing is lost and nothing made");
    test.expect(
        !isKnown(local, "2026-03-15") && isKnown(local, "2026-07-02"),
        "a day that the service lacks is not known, and a local one without events is zero");
    const std::int64_t fiveDays = 5 * 1'178;  // 26 to 30 June
    test.expect(local.todayTokens == 0 && local.sevenDayTokens == fiveDays + 80'000 &&
                    trend.month.tokens.inputTokens == 80'000 && trend.projectedMonthCostUSD &&
                    trend.month.estimatedCostUSD == 1.0 && !trend.summary.sevenDay.estimatedCostUSD,
                "today, seven days of which the service's have no price, a month of priced days");
    DetailedUsage detail = *before.detailedUsage;
    detail.sevenDay = trend.summary.sevenDay;
    detail.month = trend.month;
    auto& curve = detail.previousSevenDayAverageCumulativeBuckets;
    curve = local.detailedUsage->previousSevenDayAverageCumulativeBuckets;
    test.expect(local.detailedUsage == detail && local.lifetimeTokens == 1 &&
                    curve->back().tokens == (fiveDays + 1'175 + 80'000) / 7,
                "the split is rebuilt over days, and the curve stands on their height");
    test.expect(merged(local, official).local == local,
                "a merge of what is merged changes nothing");
    const auto later = contextAt(at("2026-07-03T12:00:00Z"));
    for (const Days& days : {Days(official), Days(std::in_place)}) {
        const auto unpriced = merged(localUsage({{"2026-07-03", 5}}), days, later).local;
        test.expect(!unpriced.usageTrend->projectedMonthCostUSD &&
                        !unpriced.detailedUsage->month.estimatedCostUSD,
                    "a month with a day that the service counted, or nobody, has no price");
    }
}

void checkGaps(SelfTest& test) {
    const LocalUsage local = localUsage({{"2026-07-01", 10}, {"2026-07-02", 20}});
    const HybridDailyUsage unknown = merged(local, std::nullopt);
    test.expect(unknown.local == local &&
                    unknown.messages == Notices{{NoticeKind::officialDaysUnavailable}},
                "without a history the local usage stays");
    const HybridDailyUsage alone = merged(local, Days(std::in_place));
    test.expect(
        tokensOf(alone.local.dailyBuckets) == TokensByDay{{"2026-07-01", 10}, {"2026-07-02", 20}} &&
            !isKnown(alone.local, "2026-06-30") && alone.messages.empty() &&
            !alone.local.usageTrend->summary.isNewActivity,
        "an empty history is a history, and no news");
    for (const bool isCompared : {true, false}) {
        const std::string missing = isCompared ? "2026-06-18" : "2026-06-19";
        std::vector<DailyTokenBucket> official = officialDays(182);
        std::erase_if(official, [&](const auto& day) { return day.id == missing; });
        const LocalUsage mostlyKnown = merged(local, official).local;
        test.expect(mostlyKnown.usageTrend->summary.changePercent.has_value() == isCompared,
                    "two weeks are compared if each day of both is known");
    }

    LocalUsage rough = local;
    rough.detailedUsage.reset();
    const HybridDailyUsage behind = merged(rough, officialDays(182));
    test.expect(!behind.local.todayTokens && !behind.local.sevenDayTokens &&
                    !behind.local.detailedUsage &&
                    behind.local.usageTrend->summary == UsageTrendSummary{} &&
                    !isKnown(behind.local, "2026-07-02") &&
                    tokensOf(behind.local.dailyBuckets) == tokensOf(officialDays(182)) &&
                    wordsOf(behind.messages) ==
                        Words{"Codex 官方日统计尚未包含今天，今日与近 7 天暂不采用该批数据"},
                "a today of neither source is not known");
    const HybridDailyUsage caughtUp = merged(rough, officialDays(183));
    test.expect(caughtUp.local.todayTokens == 1'182 && caughtUp.local.sevenDayTokens == 7 * 1'179 &&
                    caughtUp.local.usageTrend->sourceQuality == UsageSourceQuality::official,
                "without the exact split today and yesterday are the service's");
    LocalUsage mixed = local;
    mixed.usageTrend->dayBuckets.back().sourceQuality = UsageSourceQuality::official;
    test.expect(!merged(mixed, officialDays(182)).local.todayTokens,
                "an official day is never taken for a local one");

    std::vector<DailyTokenBucket> vast = officialDays(182);
    vast[3].tokens = INT64_MAX;
    const HybridDailyUsage overflown = merged(local, vast);
    test.expect(
        overflown.local.todayTokens == 20 && !overflown.local.sevenDayTokens &&
            !overflown.local.usageTrend && overflown.local.detailedUsage &&
            overflown.local.dailyBuckets.empty() &&
            wordsOf(overflown.messages) == Words{"混合 token 汇总超出可表示范围，历史聚合暂不可用"},
        "a sum that cannot be represented is not shown");
}

}  // namespace

bool run() {
    return SelfTest::run("official daily usage", {checkParsing, checkCache, checkPersistence,
                                                  checkSignIn, checkHalfAYear, checkGaps});
}

}  // namespace vantry::OfficialDailyUsageSelfTest
