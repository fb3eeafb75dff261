#include <atomic>
#include <stdexcept>

#include "runtime/CodexRuntimeProvider.h"
#include "runtime/MultiRuntimeUsageReader.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::RuntimeLoadSelfTest {

using namespace CodexUsageReader;

namespace {

const Date now(1'800'000'000);

RuntimeLoadContext context() {
    return {.now = now,
            .homeDirectory = "/nonexistent",
            .cacheDirectory = {},
            .statistics = contextIn("GMT", now)};
}

AppServerRead quotaRead() {
    return {.snapshot = {.readState = AppServerReadState::responded,
                         .secondary = RateWindow{.usedPercent = 40, .windowDurationMins = 10'080}},
            .messages = said({"account"})};
}

LocalUsageRead localRead(std::int64_t tokens) {
    return {.result = {.local = LocalUsage{.todayTokens = tokens},
                       .capturedAt = now,
                       .readStatus = LocalUsageReadStatus::complete},
            .messages = said({"local"})};
}

void checkRegistry(SelfTest& test) {
    const auto registry = [](const char* filter) {
        return RuntimeProviderRegistry(environmentOf({{"VANTRY_RUNTIME_FILTER", filter}}));
    };
    const auto size = [&](const char* filter) { return registry(filter).providers().size(); };
    test.expect(size(" CODEX , ,") == 1 && size(",") == 1 && size("") == 1 && size("other") == 0 &&
                    size("other,codex") == 1,
                "the filter names the runtimes that are read");
    const MultiRuntimeUsageReader none{registry("other")};
    const MultiRuntimeUsageSnapshot read = none.load(context(), {.generation = 7});
    test.expect(read.runtimes.empty() && read.statisticsIdentity.generation == 7 &&
                    read.statisticsIdentity.resolvedIdentifier == "GMT" &&
                    read.aggregate.messages.size() == 1 && !read.aggregate.readerState.isLoading &&
                    !none.loadTaskBoard(RuntimeScope::codex, context()),
                "a read of nothing has no runtimes, and says so");
}

// The marks and times of what the sources give. Their figures stand in every dump.
void checkCarriage(SelfTest& test) {
    AppServerRead official = quotaRead();
    official.snapshot.accountIdentity = "identity";
    official.snapshot.officialLifetimeTokens = 4;
    official.snapshot.officialLifetimeCapturedAt = now - 5;
    official.snapshot.officialLifetimeIsStale = true;
    official.snapshot.cloudDailyBuckets = {{{.id = "day", .tokens = 6}}};
    official.snapshot.cloudDailyUsageCapturedAt = now - 7;
    official.snapshot.cloudDailyUsageIsStale = true;
    official.snapshot.cloudDailyUsageAttempted = true;
    LocalUsageRead local = localRead(8);
    local.result.capturedAt = now - 9;
    local.result.isStale = true;
    local.result.local->projectBoard.emplace().detailsByProjectID["p"].conversations = {
        {.id = "thread", .todayTokens = 3}};
    const TaskBoard board{.columns = {{.items = {{.threadID = "thread"}}}}};
    std::pair<std::string, std::string> home;
    const UsageSnapshot read = load(context(), {},
                                    {.appServer =
                                         [&](const AppServerRequest& request) {
                                             home = request.environment.at(0);
                                             return official;
                                         },
                                     .localUsage = [&](const auto&) { return local; },
                                     .taskBoard =
                                         [&](const auto&) {
                                             return TaskBoardRead{board, said({"board"})};
                                         }});
    test.expect(home == std::pair<std::string, std::string>("HOME", "/nonexistent"),
                "the child is given the home that is read");
    test.expect(read.officialLifetimeCapturedAt == now - 5 && read.officialLifetimeIsStale &&
                    read.cloudDailyUsageCapturedAt == now - 7 && read.cloudDailyUsageIsStale &&
                    read.cloudDailyUsageAttempted && read.localUsageCapturedAt == now - 9 &&
                    read.localUsageIsStale,
                "a read carries when each figure was captured, and which are stale");
    Notices expected = said({"account", "local", "board"});
    expected.push_back({NoticeKind::officialDaysAreStale});
    expected.insert(expected.end(), read.hybridReadMessages.begin(), read.hybridReadMessages.end());
    test.expect(read.messages == expected && read.localReadMessages == said({"local"}) &&
                    read.hybridReadMessages.size() == 1,
                "and the words of each source");

    test.expect(read.taskBoard->columns[0].items[0].tokens == 3, "the board has today's tokens");

    const auto fail = [](const auto&) -> AppServerRead { throw std::runtime_error("fails"); };
    const UsageSnapshot unfinished =
        load(context(), {},
             {.appServer = fail,
              .localUsage = [](const auto&) -> LocalUsageRead { throw std::runtime_error(""); },
              .taskBoard = [](const auto&) -> TaskBoardRead { throw std::runtime_error(""); }});
    test.expect(wordsOf(unfinished.messages) == std::vector<std::string>{"app-server 读取未完成",
                                                                         "本机用量读取未完成",
                                                                         "任务看板读取未完成"} &&
                    unfinished.localUsageReadStatus == LocalUsageReadStatus::unavailable,
                "a source that fails unforeseen stops no other");
}

void checkReuse(SelfTest& test) {
    std::atomic<int> localReads = 0;
    std::atomic<int> boardReads = 0;
    const ReadSources sources{.appServer = [](const AppServerRequest&) { return quotaRead(); },
                              .localUsage =
                                  [&](const RuntimeLoadContext&) {
                                      ++localReads;
                                      return localRead(2);
                                  },
                              .taskBoard =
                                  [&](const RuntimeLoadContext&) {
                                      ++boardReads;
                                      return TaskBoardRead{};
                                  }};
    const UsageSnapshot good{.local = LocalUsage{.todayTokens = 1},
                             .localUsageCapturedAt = now - 60,
                             .localUsageReadStatus = LocalUsageReadStatus::complete,
                             .taskBoard = TaskBoard{.refreshedAt = now - 60},
                             .localReadMessages = said({"old"})};
    const auto everything = [] { return UnchangedSources{true, true}; };
    RuntimeSnapshotLoadOptions options{.previousSnapshot = good, .findUnchanged = everything};
    const UsageSnapshot reused = load(context(), options, sources);
    test.expect(localReads == 0 && boardReads == 0 && reused.local->todayTokens == 1 &&
                    reused.localUsageCapturedAt == now - 60 && reused.taskBoard == good.taskBoard &&
                    reused.localReadMessages.empty(),
                "unchanged sources are not read again, and keep their capture time");
    const auto refuse = [&](const char* what, auto change) {
        options.previousSnapshot = good;
        change(options);
        const int before = localReads;
        const UsageSnapshot fresh = load(context(), options, sources);
        test.expect(localReads == before + 1 && fresh.local->todayTokens == 2, what);
    };
    refuse("stale local usage is read again",
           [](auto& o) { o.previousSnapshot->localUsageIsStale = true; });
    refuse("stale official days are read again",
           [](auto& o) { o.previousSnapshot->cloudDailyUsageIsStale = true; });
    refuse("yesterday's local usage is read again",
           [](auto& o) { o.previousSnapshot->localUsageCapturedAt = now - 86'400; });
    refuse("official days for which nobody stands now are read out of it", [](auto& o) {
        o.previousSnapshot->local->usageTrend.emplace().sourceQuality = UsageSourceQuality::hybrid;
    });
    refuse("missing local usage is read", [](auto& o) { o.previousSnapshot->local.reset(); });
    refuse("without a previous read everything is read",
           [](auto& o) { o.previousSnapshot.reset(); });
    refuse("nothing is reused unasked", [](auto& o) { o.findUnchanged = nullptr; });
}

void checkQuotaAlone(SelfTest& test) {
    const TemporaryDirectory directory("vantry-runtime-load-");
    const auto program = directory.writeProgram("codex", R"(#!/bin/sh
while read -r line; do case "$line" in
*'"id":1,'*) echo '{"id":1,"result":{}}';;
*'"id":2,'*) echo '{"id":2,"result":{"account":{"type":"chatgpt","planType":"pro"}}}';;
*'"id":3,'*) echo '{"id":3,"result":{"rateLimits":{"primary":{"usedPercent":40,"windowDurationMins":10080,"resetsAt":4102444800}}}}';;
*'"id":4,'*) echo '{"id":4,"result":{"summary":{"lifetimeTokens":9}}}';;
*'"id":5,'*) echo '{"id":5,"result":{}}';;
esac; done
)");
    const UsageSnapshot read =
        loadQuota(context(), {.executablePath = program, .responseTimeout = 5});
    test.expect(read.account && read.secondary && !read.cloudDailyUsageAttempted &&
                    read.officialUsageReadStatus == OfficialUsageReadStatus::notAttempted,
                "a read of the quota asks for the account, and for no history");
}

}  // namespace

bool run() {
    return SelfTest::run("runtime load",
                         {checkRegistry, checkCarriage, checkReuse, checkQuotaAlone});
}

}  // namespace vantry::RuntimeLoadSelfTest
