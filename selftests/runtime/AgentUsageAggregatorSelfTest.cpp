#include <memory>

#include "runtime/AgentUsageAggregator.h"
#include "runtime/LocalUsageAggregation.h"
#include "runtime/MultiRuntimeUsageReader.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "statistics/UsageTrendCalculation.h"

namespace vantry::AgentUsageAggregatorSelfTest {

using namespace AgentUsageAggregator;

namespace {

constexpr std::int64_t most = INT64_MAX;
const Date now(1'799'409'600);  // 2027-01-08T12:00:00Z
const Date today(1'799'366'400);

template <class Rows, class Member>
auto column(const Rows& rows, Member member) {
    std::vector<std::decay_t<decltype(rows.front().*member)>> values;
    values.reserve(rows.size());
    for (const auto& row : rows) values.push_back(row.*member);
    return values;
}

using Texts = std::vector<std::string>;
using Numbers = std::vector<std::int64_t>;

PricedTokenUsage priced(std::int64_t tokens, double cost) {
    return {.tokens = {.totalTokens = tokens}, .estimatedCostUSD = cost};
}

UsageTrend trend(const std::map<std::string, PricedTokenUsage>& days, Date dayStart = today) {
    const double day = 86'400;
    return CodexUsageReader::makeUsageTrend({.dailyUsage = days,
                                             .dayStart = dayStart,
                                             .sevenDayStart = dayStart - 6 * day,
                                             .trendStart = dayStart - 190 * day,
                                             .monthStart = today - 7 * day,
                                             .calendar = Calendar(TimeZone::utc())});
}

// Rows stand in no order that a merge would give them.
LocalUsage unsortedUsage() {
    LocalUsage usage{.todayTokens = 3,
                     .dailyBuckets = {{.id = "d2"}, {.id = "d1"}},
                     .recentThreads = {{.id = "old", .updatedAt = now - 9}, {.id = "new"}},
                     .detailedUsage = DetailedUsage{.parsedFileCount = 1},
                     .usageTrend = UsageTrend{.activeDayCount = 5},
                     .projectBoard = ProjectBoard{},
                     .toolUsages = {{.name = "b", .callCount = 1}, {.name = "a", .callCount = 2}},
                     .modelUsage = LocalModelUsage{.buckets = {{.modelID = "b"}, {}}}};
    usage.projectBoard->allProjects = {{.id = "p", .tokens = 1}, {.id = "q", .tokens = 2}};
    usage.projectBoard->detailsByProjectID["p"].conversations = {{.id = "x"}, {.id = "a"}};
    return usage;
}

UsageSnapshot withLocal(LocalUsage usage, Date capturedAt) {
    return {.local = std::move(usage),
            .localUsageCapturedAt = capturedAt,
            .localUsageReadStatus = LocalUsageReadStatus::complete};
}

UsageSnapshot aggregateOf(const std::vector<UsageSnapshot>& snapshots,
                          const UsageSnapshot* previous = nullptr) {
    std::vector<RuntimeUsageSnapshot> runtimes;
    runtimes.reserve(snapshots.size());
    for (const UsageSnapshot& snapshot : snapshots) runtimes.push_back({.snapshot = snapshot});
    return aggregate(runtimes, {.at = now, .reusingLocalUsageFrom = previous});
}

void checkSingleRuntime(SelfTest& test) {
    UsageSnapshot full = withLocal(unsortedUsage(), now - 60);
    full.refreshedAt = now;
    full.secondary = RateWindow{.usedPercent = 5};
    full.officialLifetimeTokens = 7;  // kept from a read before, and not asked for again
    full.officialLifetimeCapturedAt = now - 90;
    full.cloudDailyBuckets = std::vector<DailyTokenBucket>{{.id = "2027-01-07"}};
    full.taskBoard = TaskBoard{.refreshedAt = now};
    full.messages = {"one", "one"};
    full.readerState = {.isLoading = true, .appServer = AppServerReadState::responded};
    test.expect(aggregateOf({full}) == full, "one runtime comes back with all it holds, in order");
    UsageSnapshot none{.refreshedAt = now,
                       .localUsageCapturedAt = now,
                       .localUsageReadStatus = LocalUsageReadStatus::unavailable};
    test.expect(aggregateOf({none}) == none && !aggregateOf({}).local,
                "and one without local usage gets none");
}

ProjectUsage project(const std::string& id, std::int64_t tokens,
                     std::optional<Date> firstActiveAt) {
    return {.id = id, .name = id, .tokens = tokens, .firstActiveAt = firstActiveAt};
}

void checkProjects(SelfTest& test) {
    ProjectBoard first{
        .recentProjects = {project("p", 1, now - 5), project("r", 1, now)},
        .allProjects = {project("p", 0, {}), project("s", 4, now), project("r", 4, now)},
        .localDailyByProject = {{"p", {{"d1", most}, {"d2", 1}}}},
        .detailsByProjectID = {{"p", {.todayThreadCount = 1}}}};
    ProjectBoard second{
        .todayProjects = {{project("p", 2, {})}},
        .allProjects = {project("q", 4, {}), project("r", 0, {}), project("p", 0, {})},
        .localDailyByProject = {{"p", {{"d1", 1}}}, {"q", {{"d1", 4}}}},
        .detailsByProjectID = {{"p", {.todayThreadCount = 2}}},
        .dimensionBreakdown = {.projectsByToolID = {{"shell", {{.id = "p"}}}}}};
    const auto hybrid = UsageSourceQuality::hybrid;
    first.allProjects[0] = {"p", "p", "", most, 1, 2, now - 1, hybrid, now - 5};
    second.allProjects[2] = {"p", "other", "", 3, {}, 1, now - 2, {}, now - 500};
    const ProjectUsage sum{"p", "p", "", most, 1, 3, now - 1, hybrid, now - 500};
    const ProjectBoard board = aggregateProjectBoards({&first, &second});
    test.expect(board.allProjects.at(0) == sum, "a project of two runtimes is one row");
    test.expect(column(board.allProjects, &ProjectUsage::id) == Texts{"p", "q", "r", "s"},
                "projects stand by tokens, and then by name");
    test.expect(!board.allProjects.at(2).firstActiveAt && !board.recentProjects.at(1).firstActiveAt,
                "a first activity that one runtime does not know is not known");
    test.expect(board.recentProjects.at(0).firstActiveAt == now - 500 &&
                    board.todayProjects.value().at(0).firstActiveAt == now - 500,
                "a project that is new to one runtime only is not new");
    const std::map<std::string, std::int64_t> days{{"d1", most}, {"d2", 1}};
    test.expect(board.localDailyByProject.at("p") == days &&
                    board.localDailyByProject.contains("q") &&
                    board.detailsByProjectID.at("p").todayThreadCount == 3 &&
                    board.dimensionBreakdown == second.dimensionBreakdown,
                "days, details and shares of the projects are joined");
}

// The conversation "shared" was seen by both runtimes, today by the first one only.
void checkConversations(SelfTest& test) {
    const ProjectUsageDetail first{
        .dailyBuckets = {{.id = "d2", .tokens = 1}},
        .todayThreadCount = 1,
        .sevenDayThreadCount = 1,
        .thirtyDayThreadCount = 2,
        .toolUsages = {{.id = "t", .name = "t", .callCount = 1}},
        .conversations = {{"shared", "", 1, 2, most, now - 5, true}, {"b", "", 0, 0, 7}}};
    const ProjectUsageDetail second{
        .dailyBuckets = {{.id = "d1", .tokens = 3}, {.id = "d2", .tokens = most}},
        .sevenDayThreadCount = 1,
        .thirtyDayThreadCount = 4,
        .toolUsages = {{.id = "u", .name = "t", .callCount = 2},
                       {.id = "t", .name = "t", .callCount = 2}},
        .conversations = {
            {"a", "", 0, 0, 7}, {"late", "", 0, 0, 7, now}, {"shared", "Title", 0, 3, 4, now - 4}}};
    const ProjectUsageDetail merged = mergeProjectDetails({&first, &second});
    const ProjectConversationUsage shared{"shared", "Title", 1, 5, most, now - 4, true};
    test.expect(merged.conversations.at(0) == shared &&
                    column(merged.conversations, &ProjectConversationUsage::id) ==
                        Texts{"shared", "late", "a", "b"},
                "a conversation of two runtimes is one row, by tokens, activity and id");
    test.expect(merged.todayThreadCount == 1 && merged.sevenDayThreadCount == 1 &&
                    merged.thirtyDayThreadCount == 5,
                "and one thread of each window that both saw it in");
    test.expect(
        column(merged.toolUsages, &ProjectToolUsage::callCount) == Numbers{3, 2} &&
            column(merged.dailyBuckets, &ProjectDailyUsageBucket::tokens) == Numbers{3, most},
        "tools and days are joined");
}

void checkRows(SelfTest& test) {
    using Hours = std::vector<HourlyTokenBucket>;
    const LocalUsage first{
        .lifetimeTokens = most,
        .todayTokens = 0,
        .dailyBuckets = {{.id = "d3", .tokens = 1}, {.id = "d1", .tokens = most}},
        .recentThreads = {{.id = "t", .title = "old", .tokens = 1, .updatedAt = now - 9},
                          {.id = "none"}},
        .detailedUsage = DetailedUsage{.month = priced(1, 0.5), .todayHourlyBuckets = {{{1, 2}}}},
        .toolUsages = {{.name = "b", .callCount = 3}, {.name = "a", .callCount = 1}},
        .skillUsages = {{.id = "z", .loadCount = 3},
                        {.id = "s", .loadCount = 1, .staticByteCount = 5}}};
    const LocalUsage second{
        .lifetimeTokens = 1,
        .dailyBuckets = {{.id = "d1", .tokens = 1}, {.id = "d2", .tokens = 2}},
        .recentThreads = {{.id = "u", .updatedAt = now - 8},
                          {.id = "t", .title = "new", .tokens = 2, .updatedAt = now - 7}},
        .detailedUsage =
            DetailedUsage{.month = priced(most, 0.25), .todayHourlyBuckets = Hours{{0, 1}, {1, 3}}},
        .toolUsages = {{.name = "a", .callCount = 2, .estimatedTokens = 4}},
        .skillUsages = {{.id = "s", .loadCount = 2, .staticByteCount = 6, .lastLoadedAt = now}}};
    const LocalUsage sum = aggregateLocalUsage({&first, &second});
    test.expect(sum.lifetimeTokens == most && sum.todayTokens == 0 && !sum.sevenDayTokens,
                "totals are the saturated sum of those that are known");
    test.expect(column(sum.dailyBuckets, &DailyTokenBucket::tokens) == Numbers{most, 2, 1} &&
                    column(sum.recentThreads, &LocalThread::id) == Texts{"t", "u", "none"} &&
                    sum.recentThreads.at(0).title == "new" && sum.recentThreads.at(0).tokens == 3,
                "days are joined, oldest first, and threads, newest first");
    const DetailedUsage expected{.month = priced(most, 0.75),
                                 .todayHourlyBuckets = Hours{{0, 1}, {1, 5}}};
    test.expect(sum.detailedUsage == expected, "periods and hours are added");
    const std::vector<ToolUsage> tools{{.name = "a", .callCount = 3, .estimatedTokens = 4},
                                       {.name = "b", .callCount = 3}};
    const std::vector<SkillUsage> skills{
        {.id = "z", .loadCount = 3},
        {.id = "s", .loadCount = 3, .staticByteCount = 5, .lastLoadedAt = now}};
    test.expect(sum.toolUsages == tools && sum.skillUsages == skills,
                "tools and Skills are joined, most used first");
}

void checkTrends(SelfTest& test) {
    LocalUsage first{.usageTrend =
                         trend({{"2027-01-08", priced(4, 0.5)}, {"2026-12-31", priced(9, 1)}})};
    LocalUsage second{
        .usageTrend = trend({{"2027-01-08", priced(most, 0.25)}, {"2026-09-01", priced(1, 4)}})};
    const UsageTrend both = trend({{"2027-01-08", priced(most, 0.75)},
                                   {"2026-12-31", priced(9, 1)},
                                   {"2026-09-01", priced(1, 4)}});
    const LocalUsage sum = aggregateLocalUsage({&first, &second});
    test.expect(both.projectedMonthCostUSD && sum.usageTrend == both,
                "the trend of two runtimes is the trend of the sum of their days");
    const LocalUsage yesterday{.usageTrend = trend({}, today - 86'400)};
    test.expect(!aggregateLocalUsage({&first, &yesterday}).usageTrend,
                "trends of different days are not added");

    first.modelUsage = {now, "GMT", {{today, {}, 1}, {today, "m", most - 1}}};
    second.modelUsage = {now - 5, "GMT", {{today - 86'400, {}, 2}, {today, "m", 1}}};
    const LocalModelUsage models{
        now - 5, "GMT", {{today - 86'400, {}, 2}, {today, "m", most}, {today, {}, 1}}};
    test.expect(aggregateLocalUsage({&first, &second}).modelUsage == models,
                "models are added by day, the unknown one last");
    const LocalUsage other{.modelUsage = LocalModelUsage{now, "Asia/Shanghai", {}}};
    test.expect(!aggregateLocalUsage({&first, &second, &second}).modelUsage &&
                    !aggregateLocalUsage({&first, &other}).modelUsage,
                "a sum that overflows or mixes zones is not shown");
}

void checkQuality(SelfTest& test) {
    UsageSnapshot stale = withLocal({.todayTokens = 1}, now - 50);
    stale.localUsageIsStale = true;
    stale.localUsageReadStatus = LocalUsageReadStatus::staleFallback;
    const UsageSnapshot fresh = withLocal({.todayTokens = 2}, now);
    const UsageSnapshot failed{.localUsageReadStatus = LocalUsageReadStatus::unavailable};
    const UsageSnapshot mixed = aggregateOf({fresh, stale, failed});
    test.expect(mixed.localUsageCapturedAt == now - 50 && mixed.localUsageIsStale &&
                    mixed.localUsageReadStatus == LocalUsageReadStatus::staleFallback,
                "a sum is as old and as good as its worst part");
    test.expect(
        aggregateOf({failed, fresh}).localUsageReadStatus == LocalUsageReadStatus::complete &&
            aggregateOf({{}, failed}).localUsageReadStatus == LocalUsageReadStatus::unavailable,
        "a runtime without local usage is no part");

    UsageSnapshot silent{.officialUsageReadStatus = OfficialUsageReadStatus::failed};
    UsageSnapshot quota{.account = AccountInfo{.type = "t"},
                        .primary = RateWindow{.usedPercent = 1},
                        .officialLifetimeTokens = 9};
    quota.readerState = {.isLoading = true,
                         .localDependencyFailure = LocalReaderDependencyFailure::databaseMissing};
    const UsageSnapshot joined = aggregateOf({silent, quota, silent});
    test.expect(joined.account == quota.account && joined.primary == quota.primary &&
                    joined.officialLifetimeTokens == 9 && joined.readerState == quota.readerState,
                "quota comes from the runtime that has it, and loading lasts as long as any");
}

struct QuotaOnlyProvider : RuntimeUsageProvider {
    RuntimeScope scope() const override { return RuntimeScope::codex; }
    RuntimeUsageSnapshot loadSnapshot(const RuntimeLoadContext&,
                                      const RuntimeSnapshotLoadOptions&) const override {
        return {};
    }
    std::optional<TaskBoard> loadTaskBoard(const RuntimeLoadContext&) const override { return {}; }
};

void checkQuotaOnlyReuse(SelfTest& test) {
    UsageSnapshot previous = withLocal(unsortedUsage(), now - 3'600);
    previous.localUsageIsStale = true;
    previous.localUsageReadStatus = LocalUsageReadStatus::staleFallback;
    const UsageSnapshot quotaOnly{.primary = RateWindow{.usedPercent = 3}};
    const auto isKept = [&](const UsageSnapshot& result) {
        return result.local == previous.local && result.localUsageCapturedAt == now - 3'600 &&
               result.localUsageIsStale &&
               result.localUsageReadStatus == LocalUsageReadStatus::staleFallback;
    };
    test.expect(isKept(aggregateOf({quotaOnly, quotaOnly}, &previous)),
                "a quota-only refresh keeps the local usage as it was");
    const UsageSnapshot failed{.localUsageReadStatus = LocalUsageReadStatus::unavailable};
    const UsageSnapshot read = withLocal({.todayTokens = 1}, now);
    test.expect(!aggregateOf({quotaOnly, failed}, &previous).local &&
                    aggregateOf({quotaOnly, read}, &previous).local == read.local &&
                    !aggregateOf({quotaOnly}, &quotaOnly).local &&
                    !aggregateOf({}, &previous).local,
                "one that did read local records does not, whatever it found");

    const RuntimeLoadContext context{.now = now,
                                     .homeDirectory = "/nonexistent",
                                     .cacheDirectory = "/nonexistent",
                                     .statistics = StatisticsContext({}, now, TimeZone::utc())};
    const MultiRuntimeUsageReader reader{RuntimeProviderRegistry(
        {std::make_shared<QuotaOnlyProvider>()}, [](const char*) { return std::nullopt; })};
    const auto batch = reader.load(context, {.previousRuntimes = {{.snapshot = previous}}});
    test.expect(isKept(batch.aggregate), "also when it comes through the reader");
}

}  // namespace

bool run() {
    return SelfTest::run("agent usage aggregation",
                         {checkSingleRuntime, checkProjects, checkConversations, checkRows,
                          checkTrends, checkQuality, checkQuotaOnlyReuse});
}

}  // namespace vantry::AgentUsageAggregatorSelfTest
