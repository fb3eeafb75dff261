#include <sstream>

#include "headless/JsonDump.h"
#include "runtime/CodexRuntimeProvider.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::JSONDumpWriterSelfTest {

namespace {

const Date now(1'800'000'000);

LocalUsage countedLocalUsage() {
    LocalUsage local{.detailedUsage = DetailedUsage{.today = PricedTokenUsage::totalOnly(9)},
                     .usageTrend = UsageTrend{.dayBuckets = {{.id = "a"}, {.id = "b"}}},
                     .projectBoard = ProjectBoard{.allProjects = {{.id = "p"}}},
                     .toolUsages = {{.id = "t"}},
                     .skillUsages = {{.id = "s"}}};
    local.projectBoard->detailsByProjectID["p"].conversations = {
        {.id = "thread", .todayTokens = 4}};
    local.modelUsage = LocalModelUsage{.buckets = {{.dayStart = now, .modelID = "m", .tokens = 1},
                                                   {.dayStart = now, .tokens = 1},
                                                   {.dayStart = now + 86'400, .modelID = "m"}}};
    return local;
}

UsageSnapshot countedSnapshot() {
    const TaskColumn column{.count = 1, .items = {{.id = "i", .threadID = "thread"}}};
    return {.refreshedAt = now,
            .local = countedLocalUsage(),
            .localUsageReadStatus = LocalUsageReadStatus::complete,
            .taskBoard = TaskBoard{.refreshedAt = now, .columns = {column}}};
}

MultiRuntimeUsageSnapshot readOf(const UsageSnapshot& snapshot) {
    return {.refreshedAt = now,
            .runtimes = {CodexRuntimeProvider::runtimeSnapshot(snapshot)},
            .aggregate = snapshot};
}

// What the summary counts of a read, "-" for null, and what it says is available.
std::string counted(const UsageSnapshot& snapshot) {
    const JsonValue summary = probeSummaryJSONObject(readOf(snapshot), now);
    const JsonValue& runtime = std::get<JsonValue::Array>(summary.find("runtimes")->storage())[0];
    std::string text;
    for (const char* key : {"taskCount", "trendDayCount", "projectCount", "toolCount", "skillCount",
                            "modelDayCount", "modelCount"}) {
        const auto* count = std::get_if<std::int64_t>(&runtime.find(key)->storage());
        text += count != nullptr ? std::to_string(*count) : "-";
    }
    for (const char* key : {"quota", "taskBoard", "localUsage", "modelUsage"}) {
        const bool isThere = *runtime.find(std::string(key) + "Available") == JsonValue(true);
        if (isThere) text.append(" ").append(key);
    }
    return text;
}

void checkSummary(SelfTest& test) {
    std::vector<std::tuple<const char*, UsageSnapshot, const char*>> cases{
        {"what is there is counted", countedSnapshot(), "1211121 taskBoard localUsage modelUsage"},
        {"missing data should remain null", {.refreshedAt = now}, "-------"}};
    UsageSnapshot official = countedSnapshot();
    official.local = LocalUsage{.usageTrend = official.local->usageTrend};
    cases.emplace_back("仅有官方日桶时应保留日趋势，但不能声称本机明细或模型归因可用", official,
                       "12----- taskBoard");
    UsageSnapshot failed = countedSnapshot();
    failed.localUsageReadStatus = LocalUsageReadStatus::unavailable;
    cases.emplace_back("读取失败时不能发布残留的本机归因计数", failed, "12----- taskBoard");
    failed.localUsageReadStatus = LocalUsageReadStatus::staleFallback;
    cases.emplace_back("旧完整本机回退应保留有效归因计数", failed,
                       "1211121 taskBoard localUsage modelUsage");
    for (const auto& [what, snapshot, expected] : cases) {
        test.expect(counted(snapshot) == expected, std::string(what) + ": " + counted(snapshot));
    }
    std::ostringstream none;
    dumpJSON(readOf(UsageSnapshot{.messages = said({"\xff"})}), none);
    test.expect(none.str().empty(), "what cannot be written as JSON prints nothing");
}

// The keys of each record as they are printed; scripts of users depend on them.
void checkKeys(SelfTest& test) {
    std::string keys;
    const auto add = [&](const JsonValue& record) {
        for (const auto& [key, member] : std::get<JsonValue::Object>(record.storage())) {
            keys += key + " ";
        }
        keys += "/ ";
    };
    const auto addAll = [&](const auto&... records) {
        (add(encode(records, RecordForm::shown)), ...);
    };
    UsageSnapshot withBoard;
    withBoard.taskBoard.emplace().columns.emplace_back();
    const JsonValue dump = dumpJSONObject(readOf(withBoard));
    const JsonValue& runtime = std::get<JsonValue::Array>(dump.find("runtimes")->storage()).at(0);
    const JsonValue& board = *runtime.find("snapshot")->find("taskBoard");
    add(*runtime.find("snapshot"));
    add(runtime);
    addAll(RateWindow{}, CreditsInfo{}, AccountInfo{}, ReaderControlState{}, LocalUsage{},
           DetailedUsage{}, UsageTrend{}, PricedTokenUsage{});
    add(board);
    add(std::get<JsonValue::Array>(board.find("columns")->storage()).at(0));
    addAll(TaskItem{}, SkillUsage{}, ProjectUsage{});
    const JsonValue summary = probeSummaryJSONObject(readOf(countedSnapshot()), now);
    add(summary);
    add(std::get<JsonValue::Array>(summary.find("runtimes")->storage()).at(0));
    add(dumpJSONObject({}));
    std::string expected =
        R"(account accountIdentity cloudDailyBuckets cloudDailyUsageAttempted cloudDailyUsageCapturedAt
cloudDailyUsageIsStale credits hybridReadMessages local localReadMessages localUsageCapturedAt
localUsageIsStale localUsageReadStatus messages officialLifetimeCapturedAt
officialLifetimeIsStale officialLifetimeTokens officialUsageReadStatus ordinaryUsageAllowed
otherLimits primary rateLimitReachedType readerState refreshedAt secondary spendControlReached taskBoard / displayName quotaSourceLabel scope snapshot status
usageSourceLabel / remainingPercent resetsAt usedPercent windowDurationMins / balance hasCredits
resetCredits unlimited / emailPresent planType type / appServer isLoading localDependencyFailure
/ dailyBuckets detailedUsage gaps lastUpdatedAt lifetimeTokens modelUsage projectBoard recentThreads
sevenDayTokens skillUsages threadCount todayTokens toolUsages usageTrend / lifetime month
parsedFileCount previousSevenDayAverageCumulativeBuckets sevenDay sourceQuality today
todayHourlyBuckets tokenEventCount / activeDayCount changePercent dailyAverageTokens dayCount
isNewActivity month peakDay projectedMonthCostUSD sevenDay sourceQuality / cachedInputTokens
estimatedCostUSD inputTokens outputTokens reasoningOutputTokens tokens totalTokens
uncachedInputTokens visibleTotalTokens / columns refreshedAt totalCount / count items title /
detail title tokens updatedAt / id lastLoadedAt loadCount name sourceLabel staticByteCount
staticTokenEstimate threadCount / estimatedCostUSD fullPath id lastActiveAt name sourceQuality
threadCount tokens / redacted refreshedAt runtimeCount runtimes schemaVersion / id localGapCount
localUsageAvailable modelCount modelDayCount modelUsageAvailable projectCount quotaAvailable
skillCount status taskBoardAvailable taskCount toolCount trendDayCount / aggregate compat
refreshedAt runtimes schemaVersion /
)";
    std::ranges::replace(expected, '\n', ' ');
    test.expect(keys == expected, "the keys that are printed: " + keys);
}

// What replaces one group of a snapshot leaves the others alone.
void checkReplacing(SelfTest& test) {
    UsageSnapshot read = countedSnapshot();
    read.messages = said({"account", "local 1", "board", "merge 1"});
    read.localReadMessages = said({"local 1"});
    read.hybridReadMessages = said({"merge 1"});
    read.readerState = ReaderControlState::loading();
    LocalUsageReplacement fallback{
        .at = now + 5, .localMessages = said({"local 2"}), .hybridMessages = said({"merge 2"})};
    fallback.result.local = countedLocalUsage();
    fallback.result.capturedAt = now;
    fallback.result.readStatus = LocalUsageReadStatus::staleFallback;
    fallback.result.dependencyFailure = LocalReaderDependencyFailure::databaseMissing;
    const UsageSnapshot after = read.replacingLocalUsage(fallback);
    test.expect(after.messages == said({"account", "board", "local 2", "merge 2"}) &&
                    after.refreshedAt == now + 5 && !after.readerState.isLoading &&
                    after.localUsageCapturedAt == now &&
                    after.readerState.localDependencyFailure ==
                        LocalReaderDependencyFailure::databaseMissing &&
                    after.taskBoard->columns[0].items[0].tokens == 4 &&
                    after.taskBoard->columns[0].items[0].tokensAreStale,
                "a new local read brings its messages and binds the board's figures");
    const LocalUsageReplacement nothing{.result = {}, .at = now};
    const UsageSnapshot cleared = after.replacingLocalUsage(nothing);
    test.expect(!cleared.local && !cleared.taskBoard->columns[0].items[0].tokens,
                "仅完整本机统计批次可绑定任务用量；不可用批次或清空本机记录必须清除旧任务数字");
    RuntimeUsageSnapshot stale = CodexRuntimeProvider::runtimeSnapshot(after);
    test.expect(stale.status == RuntimeMenuStatus::localOnly &&
                    replacingLocalUsage(stale, nothing).status == RuntimeMenuStatus::unavailable,
                "the status follows the local usage");
    stale.snapshot.secondary = RateWindow{.windowDurationMins = 10'080};
    stale.status = RuntimeMenuStatus::stale;
    test.expect(replacingLocalUsage(stale, nothing).status == RuntimeMenuStatus::stale,
                "and a stale quota stays stale");
}

}  // namespace

bool run() {
    return SelfTest::run("JSON dump writer", {checkSummary, checkKeys, checkReplacing});
}

}  // namespace vantry::JSONDumpWriterSelfTest
