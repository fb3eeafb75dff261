#include <initializer_list>
#include <sstream>

#include "entry/JsonDump.h"
#include "platform/JsonReader.h"
#include "runtime/CodexRuntimeProvider.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::JSONDumpWriterSelfTest {

namespace {

const Date now(1'800'000'000);

LocalUsage markedLocalUsage() {
    return {
        .threadCount = 1,
        .recentThreads = {{.id = "t", .title = "PRIVATE_TASK_TITLE"}},
        .detailedUsage = DetailedUsage{.today = PricedTokenUsage::totalOnly(9)},
        .usageTrend = UsageTrend{.dayBuckets = {{.id = "2027-01-14"}, {.id = "2027-01-15"}}},
        .projectBoard =
            ProjectBoard{
                .allProjects = {{.id = "PRIVATE_PROJECT_NAME",
                                 .name = "PRIVATE_PROJECT_NAME",
                                 .fullPath = "/PRIVATE_PROJECT_NAME"}},
                .detailsByProjectID = {{"PRIVATE_PROJECT_NAME",
                                        {.conversations = {{.id = "thread", .todayTokens = 4}}}}}},
        .toolUsages = {{.id = "PRIVATE_TOOL_NAME",
                        .name = "PRIVATE_TOOL_NAME",
                        .category = "PRIVATE_TOOL_CATEGORY"}},
        .skillUsages = {{.id = "PRIVATE_SKILL_NAME",
                         .name = "PRIVATE_SKILL_NAME",
                         .path = "/PRIVATE_SKILL_NAME",
                         .sourceLabel = "PRIVATE_SOURCE_LABEL"}},
        .modelUsage = LocalModelUsage{
            .buckets = {{.dayStart = now, .modelID = "PRIVATE_MODEL_ID", .tokens = 1},
                        {.dayStart = now, .modelID = std::nullopt, .tokens = 1},
                        {.dayStart = now + 86'400, .modelID = "PRIVATE_MODEL_ID", .tokens = 1}}}};
}

UsageSnapshot markedSnapshot() {
    const TaskItem item{.id = "i",
                        .code = "PRIVATE_TASK_CODE",
                        .title = "PRIVATE_TASK_TITLE",
                        .detail = "PRIVATE_TASK_DETAIL",
                        .chip = "PRIVATE_TASK_CHIP",
                        .threadID = "thread"};
    return {
        .refreshedAt = now,
        .local = markedLocalUsage(),
        .localUsageReadStatus = LocalUsageReadStatus::complete,
        .taskBoard =
            TaskBoard{.refreshedAt = now,
                      .columns = {{.title = "PRIVATE_COLUMN_TITLE", .count = 1, .items = {item}}}},
        .messages = {"PRIVATE_READER_MESSAGE"}};
}

MultiRuntimeUsageSnapshot readOf(const UsageSnapshot& snapshot) {
    RuntimeUsageSnapshot runtime = CodexRuntimeProvider::runtimeSnapshot(snapshot);
    runtime.quotaSourceLabel = "PRIVATE_SOURCE_LABEL";
    return {.refreshedAt = now, .runtimes = {runtime}, .aggregate = snapshot};
}

// The summary of a read with one runtime, and that runtime's object in it.
struct Probe {
    explicit Probe(const UsageSnapshot& snapshot, Date at = now) {
        std::ostringstream output;
        dumpProbeSummaryJSON(readOf(snapshot), at, output);
        text = output.str();
        document = JsonDocument::parse(text);
        document->root()["runtimes"].forEachElement([this](JsonView element) {
            runtime = element;
            return false;
        });
    }
    bool isFalse(const char* key) const { return runtime[key].boolean() == false; }
    bool isTrue(const char* key) const { return runtime[key].boolean() == true; }
    bool isNull(std::initializer_list<const char*> keys) const {
        for (const char* key : keys) {
            if (!runtime[key].isNull()) return false;
        }
        return true;
    }
    bool hasStatus(std::string_view status) const { return runtime["status"].text() == status; }
    std::optional<std::int64_t> count(const char* key) const { return runtime[key].integer(); }

    std::string text;
    std::optional<JsonDocument> document;
    JsonView runtime;
};

constexpr std::initializer_list<const char*> detailCounts{"projectCount", "toolCount", "skillCount",
                                                          "modelDayCount", "modelCount"};

void checkRedaction(SelfTest& test) {
    const Probe probe(markedSnapshot());
    test.expect(probe.text.find("PRIVATE_") == std::string::npos,
                "redacted summary should not contain private task, project, tool, Skill, path, "
                "message, or source values");
    const JsonView root = probe.document->root();
    test.expect(root["schemaVersion"].integer() == 1 && root["redacted"].boolean() == true &&
                    root["refreshedAt"].text() == "2027-01-15T08:00:00Z" &&
                    root["runtimeCount"].integer() == 1,
                "the summary's head");
    test.expect(probe.isTrue("localUsageAvailable") && probe.isTrue("taskBoardAvailable") &&
                    probe.isTrue("modelUsageAvailable") && probe.hasStatus("localOnly") &&
                    probe.count("taskCount") == 1 && probe.count("trendDayCount") == 2 &&
                    probe.count("projectCount") == 1 && probe.count("toolCount") == 1 &&
                    probe.count("skillCount") == 1 && probe.count("modelDayCount") == 2 &&
                    probe.count("modelCount") == 1,
                "what is there is counted");
}

void checkAbsence(SelfTest& test) {
    const Probe empty(UsageSnapshot{.refreshedAt = now});
    test.expect(empty.hasStatus("unavailable") && empty.isFalse("quotaAvailable") &&
                    empty.isFalse("localUsageAvailable") && empty.isFalse("taskBoardAvailable") &&
                    empty.isFalse("modelUsageAvailable"),
                "nothing is available in an empty read");
    for (const char* key : {"taskCount", "trendDayCount", "projectCount", "toolCount", "skillCount",
                            "modelDayCount", "modelCount"}) {
        test.expect(empty.isNull({key}), std::string("missing data should remain null: ") + key);
    }
    std::ostringstream none;
    dumpProbeSummaryJSON({.refreshedAt = now}, now, none);
    test.expect(JsonDocument::parse(none.str())->root()["runtimeCount"].integer() == 0,
                "a read without runtimes");

    UsageSnapshot official = markedSnapshot();
    official.local = LocalUsage{.usageTrend = official.local->usageTrend};
    const Probe days(official);
    test.expect(days.count("trendDayCount") == 2 && days.isFalse("localUsageAvailable") &&
                    days.isFalse("modelUsageAvailable"),
                "仅有官方日桶时应保留日趋势，但不能声称本机明细或模型归因可用");
    test.expect(days.isNull(detailCounts), "官方日桶没有的归因计数必须保持 null");

    UsageSnapshot failed = markedSnapshot();
    failed.localUsageReadStatus = LocalUsageReadStatus::unavailable;
    const Probe refused(failed);
    test.expect(refused.isNull(detailCounts), "读取失败时不能发布残留的本机归因计数");
    test.expect(refused.isFalse("localUsageAvailable") && refused.isFalse("modelUsageAvailable"),
                "本机读取失败状态不能被非空容器覆盖");
    failed.localUsageReadStatus = LocalUsageReadStatus::staleFallback;
    test.expect(Probe(failed).count("toolCount") == 1, "旧完整本机回退应保留有效归因计数");
}

void checkQuota(SelfTest& test) {
    UsageSnapshot plus{
        .refreshedAt = now,
        .account = AccountInfo{.type = "chatgpt", .planType = "plus"},
        .secondary =
            RateWindow{.usedPercent = 10, .windowDurationMins = 10'080, .resetsAt = now + 1'000}};
    const Probe without(plus);
    test.expect(without.isFalse("quotaAvailable") && without.hasStatus("unavailable"),
                "Plus without a 5-hour window must not report the 7-day window as available");
    plus.primary = RateWindow{.usedPercent = 10, .windowDurationMins = 300, .resetsAt = now + 100};
    test.expect(Probe(plus).isTrue("quotaAvailable") && Probe(plus).hasStatus("available"),
                "a running window is available");
    const Probe expired(plus, now + 100);
    test.expect(expired.isFalse("quotaAvailable") && expired.hasStatus("unavailable"),
                "an expired Plus window must report a consistent unavailable probe state");
}

void checkDump(SelfTest& test) {
    UsageSnapshot snapshot = markedSnapshot();
    snapshot.primary = RateWindow{.usedPercent = 23, .windowDurationMins = 300};
    snapshot.credits = CreditsInfo{.balance = "0", .resetCredits = 2};
    std::ostringstream output;
    dumpJSON(readOf(snapshot), output);
    const auto document = JsonDocument::parse(output.str());
    if (!test.expect(document.has_value() && output.str().back() == '\n', "the dump is JSON"))
        return;
    const JsonView root = document->root();
    JsonView runtime;
    root["runtimes"].forEachElement([&](JsonView element) {
        runtime = element;
        return true;
    });
    test.expect(root["schemaVersion"].integer() == 2 && runtime["displayName"].text() == "Codex" &&
                    runtime["scope"].text() == "codex" && runtime["quotaCapturedAt"].isMissing() &&
                    root["compat"]["codex"]["messages"].size() == 1,
                "the dump's frame");
    for (const JsonView shown : {root["aggregate"], runtime["snapshot"], root["compat"]["codex"]}) {
        test.expect(
            shown.size() == 23 && shown["primary"]["remainingPercent"].number() == 77.0 &&
                shown["primary"]["resetsAt"].isNull() && shown["account"].isNull() &&
                shown["credits"]["resetCredits"].integer() == 2 &&
                shown["readerState"]["appServer"].text() == "notAttempted" &&
                shown["local"]["usageTrend"]["dayCount"].integer() == 2 &&
                shown["local"]["usageTrend"]["dayBuckets"].isMissing() &&
                shown["local"]["detailedUsage"]["today"]["visibleTotalTokens"].integer() == 9 &&
                shown["taskBoard"]["totalCount"].integer() == 1,
            "every field is there, and what is absent is null");
    }
    std::ostringstream none;
    dumpJSON(readOf(UsageSnapshot{.messages = {"\xff"}}), none);
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
    addAll(UsageSnapshot{}, RuntimeUsageSnapshot{}, RateWindow{}, CreditsInfo{}, AccountInfo{},
           ReaderControlState{}, LocalUsage{}, DetailedUsage{}, UsageTrend{}, PricedTokenUsage{},
           TaskBoard{}, TaskColumn{}, TaskItem{}, SkillUsage{}, ProjectUsage{});
    std::string expected =
        R"(account accountIdentity cloudDailyBuckets cloudDailyUsageAttempted cloudDailyUsageCapturedAt
cloudDailyUsageIsStale credits hybridReadMessages local localReadMessages localUsageCapturedAt
localUsageIsStale localUsageReadStatus messages officialLifetimeCapturedAt
officialLifetimeIsStale officialLifetimeTokens officialUsageReadStatus primary readerState
refreshedAt secondary taskBoard / displayName quotaSourceLabel scope snapshot status
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
threadCount tokens /
)";
    std::ranges::replace(expected, '\n', ' ');
    test.expect(keys == expected, "the keys that are printed: " + keys);
}

// What replaces one group of a snapshot leaves the others alone.
void checkReplacing(SelfTest& test) {
    UsageSnapshot read = markedSnapshot();
    read.messages = {"account", "local 1", "board", "merge 1"};
    read.localReadMessages = {"local 1"};
    read.hybridReadMessages = {"merge 1"};
    read.readerState = ReaderControlState::loading();
    LocalUsageReplacement fallback{
        .at = now + 5, .localMessages = {"local 2"}, .hybridMessages = {"merge 2"}};
    fallback.result.local = markedLocalUsage();
    fallback.result.capturedAt = now;
    fallback.result.readStatus = LocalUsageReadStatus::staleFallback;
    fallback.result.dependencyFailure = LocalReaderDependencyFailure::databaseMissing;
    const UsageSnapshot after = read.replacingLocalUsage(fallback);
    test.expect(
        after.messages == std::vector<std::string>{"account", "board", "local 2", "merge 2"} &&
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
    using Environment = ReaderControlState::Environment;
    const auto asks = ReaderControlState::shouldShowEnvironmentChecklist;
    test.expect(!asks(Environment{.isLoading = true}) &&
                    asks({.accountAvailable = true, .localAvailable = true, .hasMessages = true}) &&
                    !asks({.quotaAvailable = true,
                           .accountAvailable = true,
                           .localAvailable = true,
                           .hasMessages = true}) &&
                    asks({.quotaAvailable = true, .localAvailable = true, .hasMessages = true}) &&
                    asks({.quotaAvailable = true, .accountAvailable = true}),
                "when the checklist is shown");
}

}  // namespace

bool run() {
    return SelfTest::run("JSON dump writer", {checkRedaction, checkAbsence, checkQuota, checkDump,
                                              checkKeys, checkReplacing});
}

}  // namespace vantry::JSONDumpWriterSelfTest
