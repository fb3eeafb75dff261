#include <atomic>
#include <future>
#include <stdexcept>

#include "official/DailyUsageMessages.h"
#include "official/HybridDailyUsage.h"
#include "runtime/AgentUsageAggregator.h"
#include "runtime/CodexRuntimeProvider.h"
#include "runtime/MultiRuntimeUsageReader.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::RuntimeLoadSelfTest {

using namespace CodexUsageReader;

namespace {

const Date now(1'800'000'000);

RuntimeLoadContext context() {
    return {.now = now,
            .homeDirectory = "/nonexistent",
            .cacheDirectory = {},
            .statistics = StatisticsContext({.selection = StatisticsTimeZoneSelection::utc}, now,
                                            TimeZone::utc())};
}

Environment filter(const char* value) {
    return [value](const char* name) -> std::optional<std::string> {
        if (std::string_view(name) == "VANTRY_RUNTIME_FILTER" && value != nullptr) return value;
        return std::nullopt;
    };
}

AppServerRead quotaRead() {
    return {.snapshot = {.readState = AppServerReadState::responded,
                         .secondary = RateWindow{.usedPercent = 40, .windowDurationMins = 10'080}},
            .messages = {"account"}};
}

LocalUsageRead localRead(std::int64_t tokens) {
    return {.result = {.local = LocalUsage{.todayTokens = tokens},
                       .capturedAt = now,
                       .readStatus = LocalUsageReadStatus::complete},
            .messages = {"local"}};
}

void checkRegistry(SelfTest& test) {
    const auto size = [](const char* value) {
        return RuntimeProviderRegistry(filter(value)).providers().size();
    };
    test.expect(size(nullptr) == 1 && size(" CODEX , ,") == 1 && size(",") == 1 && size("") == 1 &&
                    size("other") == 0 && size("other,codex") == 1,
                "the filter names the runtimes that are read");
    const MultiRuntimeUsageReader none{RuntimeProviderRegistry(filter("other"))};
    const MultiRuntimeUsageSnapshot read = none.load(context(), {.generation = 7});
    test.expect(read.runtimes.empty() && read.statisticsIdentity.generation == 7 &&
                    read.statisticsIdentity.resolvedIdentifier == "GMT" &&
                    !none.loadTaskBoard(RuntimeScope::codex, context()),
                "a read of nothing has no runtimes");
}

// The local read is held back until the quota has come out, and lets go of it only then.
void checkQuotaComesFirst(SelfTest& test) {
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    auto provider = std::make_shared<CodexRuntimeProvider>(ReadSources{
        .appServer =
            [](const AppServerRequest& request) {
                AppServerRead read = quotaRead();
                if (request.requestedResponseIDs != std::set{2, 3, 4} ||
                    request.maxLineBytes != 2'097'152 || request.responseTimeout != 30) {
                    read.snapshot.secondary.reset();
                }
                return read;
            },
        .localUsage =
            [released](const RuntimeLoadContext&) {
                released.wait();
                return localRead(5);
            },
        .taskBoard =
            [](const RuntimeLoadContext&) {
                return TaskBoardRead{.board = TaskBoard{.refreshedAt = now}, .messages = {"board"}};
            }});
    const MultiRuntimeUsageReader reader{RuntimeProviderRegistry({provider}, filter(nullptr))};
    int calls = 0;
    RuntimeUsageSnapshot early;
    const MultiRuntimeUsageSnapshot read =
        reader.load(context(), {.onQuotaReady = [&](const RuntimeUsageSnapshot& runtime) {
                        ++calls;
                        early = runtime;
                        release.set_value();
                    }});
    test.expect(calls == 1 && early.status == RuntimeMenuStatus::available &&
                    early.snapshot.readerState.isLoading && !early.snapshot.local &&
                    early.snapshot.messages == std::vector<std::string>{"account"},
                "the quota is handed out while the local read is still held back");
    const UsageSnapshot& last = read.runtimes.at(0).snapshot;
    test.expect(
        !last.readerState.isLoading && last.local && last.taskBoard &&
            last.messages ==
                std::vector<std::string>{
                    "account", "local", "board",
                    std::string(QuotaRefreshFallbackPolicy::unavailableDailyUsageMessage)} &&
            last.hybridReadMessages.size() == 1 &&
            last.localReadMessages == std::vector<std::string>{"local"} &&
            read.runtimes.at(0).quotaCapturedAt == now && read.runtimes.at(0).todayTokens() == 5 &&
            read.aggregate == last,
        "the joined read has all three sources");
}

// Nothing of what the sources give is lost or exchanged on the way.
void checkCarriage(SelfTest& test) {
    const AppServerSnapshot official{
        .readState = AppServerReadState::responded,
        .account = AccountInfo{.type = "chatgpt"},
        .accountIdentity = "identity",
        .primary = RateWindow{.usedPercent = 1},
        .secondary = RateWindow{.usedPercent = 2},
        .credits = CreditsInfo{.balance = "3"},
        .officialLifetimeTokens = 4,
        .officialLifetimeCapturedAt = now - 5,
        .officialLifetimeIsStale = true,
        .officialUsageReadStatus = OfficialUsageReadStatus::succeeded,
        .cloudDailyBuckets = std::vector<DailyTokenBucket>{{.id = "day", .tokens = 6}},
        .cloudDailyUsageCapturedAt = now - 7,
        .cloudDailyUsageIsStale = true,
        .cloudDailyUsageAttempted = true};
    const ReadSources sources{
        .appServer =
            [&](const AppServerRequest& request) {
                const bool hasHome = request.search.homeDirectory == "/nonexistent" &&
                                     request.environment.at(0).second == "/nonexistent";
                return AppServerRead{.snapshot = official, .messages = {hasHome ? "home" : ""}};
            },
        .localUsage =
            [](const RuntimeLoadContext&) {
                return LocalUsageRead{
                    .result = {.local = LocalUsage{.threadCount = 8},
                               .capturedAt = now - 9,
                               .isStale = true,
                               .readStatus = LocalUsageReadStatus::staleFallback,
                               .dependencyFailure = LocalReaderDependencyFailure::databaseMissing},
                    .messages = {"local"}};
            }};
    UsageSnapshot expected{.refreshedAt = now};
    expected.account = official.account;
    expected.accountIdentity = "identity";
    expected.primary = official.primary;
    expected.secondary = official.secondary;
    expected.credits = official.credits;
    expected.officialLifetimeTokens = 4;
    expected.officialLifetimeCapturedAt = now - 5;
    expected.officialLifetimeIsStale = true;
    expected.officialUsageReadStatus = OfficialUsageReadStatus::succeeded;
    expected.cloudDailyBuckets = official.cloudDailyBuckets;
    expected.cloudDailyUsageAttempted = true;
    expected.cloudDailyUsageCapturedAt = now - 7;
    expected.cloudDailyUsageIsStale = true;
    const auto hybrid = mergeCloudDailyUsage({.cloudDailyBuckets = official.cloudDailyBuckets,
                                              .into = LocalUsage{.threadCount = 8},
                                              .context = context()});
    expected.local = hybrid.local;
    expected.localUsageCapturedAt = now - 9;
    expected.localUsageIsStale = true;
    expected.localUsageReadStatus = LocalUsageReadStatus::staleFallback;
    expected.messages = {"home", "local",
                         std::string(QuotaRefreshFallbackPolicy::staleDailyUsageMessage),
                         hybrid.messages.at(0)};
    expected.localReadMessages = {"local"};
    expected.hybridReadMessages = hybrid.messages;
    expected.readerState.appServer = AppServerReadState::responded;
    expected.readerState.localDependencyFailure = LocalReaderDependencyFailure::databaseMissing;
    const UsageSnapshot read = load(context(), {}, sources);
    test.expect(read == expected, "a read carries all that its sources gave");
    UsageSnapshot aggregate =
        AgentUsageAggregator::aggregate({CodexRuntimeProvider::runtimeSnapshot(read)}, {.at = now});
    test.expect(aggregate == expected, "and so does the aggregate of one runtime");

    const auto fail = [](const auto&) -> AppServerRead { throw std::runtime_error("fails"); };
    const UsageSnapshot unfinished =
        load(context(), {},
             {.appServer = fail,
              .localUsage = [](const auto&) -> LocalUsageRead { throw std::runtime_error(""); },
              .taskBoard = [](const auto&) -> TaskBoardRead { throw std::runtime_error(""); }});
    test.expect(unfinished.messages == std::vector<std::string>{"app-server 读取未完成",
                                                                "本机用量读取未完成",
                                                                "任务看板读取未完成"} &&
                    unfinished.localUsageReadStatus == LocalUsageReadStatus::unavailable,
                "a source that fails unforeseen stops no other");
    const RuntimeLoadContext live =
        RuntimeLoadContext::live(now, {.selection = StatisticsTimeZoneSelection::utc},
                                 [](const char* name) -> std::optional<std::string> {
                                     const std::string_view variable = name;
                                     if (variable == "VANTRY_HOME_OVERRIDE") return "/o";
                                     if (variable == "VANTRY_CACHE_OVERRIDE") return "/c";
                                     if (variable == "VANTRY_CODEX_PATH") return "/p";
                                     return std::nullopt;
                                 });
    test.expect(live.homeDirectory == "/o" && live.cacheDirectory == "/c" && live.now == now &&
                    live.chosenCodex == "/p",
                "the overrides name the directories of a read");
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
                             .localReadMessages = {"old"}};
    RuntimeSnapshotLoadOptions options{
        .previousSnapshot = good, .reuseLocalUsage = true, .reuseTaskBoard = true};
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
    refuse("missing local usage is read", [](auto& o) { o.previousSnapshot->local.reset(); });
    refuse("without a previous read everything is read",
           [](auto& o) { o.previousSnapshot.reset(); });
    refuse("nothing is reused unasked", [](auto& o) { o.reuseLocalUsage = false; });
}

}  // namespace

bool run() {
    return SelfTest::run("runtime load",
                         {checkRegistry, checkQuotaComesFirst, checkCarriage, checkReuse});
}

}  // namespace vantry::RuntimeLoadSelfTest
