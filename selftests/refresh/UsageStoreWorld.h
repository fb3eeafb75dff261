#pragma once

#include <deque>
#include <functional>
#include <memory>

#include "platform/HandCrankedMainLoop.h"
#include "refresh/UsageStore.h"
#include "runtime/CodexRuntimeProvider.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"

namespace vantry::UsageStoreSelfTest {

using namespace CodexUsageReader;
using Status = LocalUsageReadStatus;

enum class Local { complete, partial, failed };

/// A machine with sources that do as they are told, a clock, and a queue that is run by hand. Every
/// figure of a read is its number, and so can be traced to it.
struct World {
    explicit World(const char* start = "2026-05-01T12:00:00Z") : loop(at(start)) {}

    TemporaryDirectory directory{"vantry-usage-store-"};
    UserDefaults defaults{directory.path(), "preferences"};
    HandCrankedMainLoop loop;
    std::deque<std::function<void()>> background;
    std::string systemZone = "America/New_York";
    std::optional<std::string> account = "A";
    std::optional<std::string> signedIn;  ///< known where the service does not answer
    std::optional<double> used;           ///< percent; the number of the read without one
    AppServerReadState appServer = AppServerReadState::responded;
    Local local = Local::complete;
    bool changesMeanwhile = false;  ///< the files, while they are read in full
    std::function<void()> beforeFingerprint = [] {};
    std::optional<RuntimeUsageSnapshot> kept;
    std::uint64_t revision = 1;           ///< of the files
    std::vector<Date> readTimes{Date()};  ///< of each figure
    int fullReads = 0, quotaReads = 0, localReads = 0, boardReads = 0, records = 0;

    std::unique_ptr<UsageStore> store() {
        return std::make_unique<UsageStore>(UsageStore::Services{
            .loop = loop,
            .runInBackground = [this](auto task) { background.push_back(std::move(task)); },
            .sources = sources(),
            .defaults = defaults,
            .systemTimeZone = [this] { return *TimeZone::named(systemZone); },
            .publishDesktopRecord = [this](const auto&, const auto&, Date) { ++records; }});
    }

    std::unique_ptr<UsageStore> startedStore() {
        auto made = store();
        made->start();
        settle();
        return made;
    }

    /// Runs the read that waits; what it posts stays posted.
    void read() {
        if (background.empty()) return;
        const auto task = std::move(background.front());
        background.pop_front();
        task();
    }
    /// Lets the read that waits land, and none that follows.
    void land() {
        read();
        loop.runPosted();
    }
    /// Lets every read that waits, and every one that follows, land.
    void settle() {
        loop.runPosted();
        while (!background.empty()) land();
    }
    void pass(double seconds) {
        for (double end = seconds; end > 0; end -= 1) {
            loop.advance(std::min(end, 1.0));
            settle();
        }
    }

  private:
    void begin(const RuntimeLoadContext& context, int& count) {
        ++count;
        readTimes.push_back(context.now);
    }
    std::int64_t number() const { return static_cast<std::int64_t>(readTimes.size()) - 1; }

    AppServerSnapshot official(Date now, bool withUsage) const {
        if (appServer != AppServerReadState::responded) {
            return {.readState = appServer,
                    .accountIdentity = signedIn,
                    .officialUsageReadStatus = OfficialUsageReadStatus::failed,
                    .cloudDailyUsageAttempted = withUsage};
        }
        const auto window = [&](std::int64_t minutes) {
            return RateWindow{.usedPercent = used.value_or(static_cast<double>(number()) / 1000),
                              .windowDurationMins = minutes,
                              .resetsAt = now + 7'200};
        };
        AppServerSnapshot read{.readState = appServer,
                               .account = AccountInfo{.planType = "pro"},
                               .accountIdentity = account,
                               .primary = window(300),
                               .secondary = window(10'080),
                               .credits = CreditsInfo{.resetCredits = 1}};
        if (!withUsage) return read;
        read.officialLifetimeTokens = number();
        read.officialLifetimeCapturedAt = now;
        read.officialUsageReadStatus = OfficialUsageReadStatus::succeeded;
        read.cloudDailyBuckets = {{.id = "2025-11-20", .label = "", .tokens = number()}};
        read.cloudDailyUsageCapturedAt = now;
        read.cloudDailyUsageAttempted = true;
        return read;
    }

    LocalUsageRead localUsage(const RuntimeLoadContext& context) const {
        if (local == Local::failed)
            return {.result = {}, .messages = {{NoticeKind::databaseQueryFailed}}};
        if (local == Local::partial) {
            return {.result = {.local = LocalUsage{.threadCount = 1}, .capturedAt = context.now},
                    .messages = {{NoticeKind::sessionDetailsMissing}}};
        }
        const std::int64_t n = number();
        const auto usage = PricedTokenUsage::totalOnly(n);
        ProjectUsageDetail detail;
        detail.conversations = {{.id = "thread", .todayTokens = n}};
        LocalUsage all{.lifetimeTokens = n, .todayTokens = n, .sevenDayTokens = n};
        all.detailedUsage = DetailedUsage{.today = usage};
        all.usageTrend.emplace().dayBuckets = {
            {.id = context.statistics.currentDayKey(), .date = context.now, .usage = usage}};
        all.projectBoard.emplace().detailsByProjectID = {{"p", detail}};
        return {.result = {.local = all, .capturedAt = context.now, .readStatus = Status::complete},
                .messages = {}};
    }

    TaskBoardRead board(const RuntimeLoadContext& context) const {
        return {.board = TaskBoard{.refreshedAt = context.now,
                                   .columns = {{.count = 1, .items = {{.threadID = "thread"}}}}},
                .messages = {}};
    }

    UsageStoreSources::Fingerprint fingerprint(const RuntimeLoadContext& context) const {
        const StatisticsContext& statistics = context.statistics;
        const std::string day = statistics.resolvedIdentifier() + statistics.currentDayKey();
        return CodexRefreshSourceFingerprint::Value{.digest =
                                                        revision + std::hash<std::string>()(day)};
    }

    UsageStoreSources sources() {
        const auto provider = std::make_shared<CodexRuntimeProvider>(ReadSources{
            .appServer =
                [this](const AppServerRequest& request) {
                    return AppServerRead{official(request.now, true), {}};
                },
            .localUsage =
                [this](const RuntimeLoadContext& context) {
                    if (changesMeanwhile) ++revision;
                    return localUsage(context);
                },
            .taskBoard = [this](const RuntimeLoadContext& context) { return board(context); }});

        const auto reader = std::make_shared<MultiRuntimeUsageReader>(RuntimeProviderRegistry(
            RuntimeProviderRegistry::Providers{provider}, environmentOf({})));
        return {
            .liveContext =
                [this](Date now, const StatisticsTimeZonePreference& preference) {
                    return RuntimeLoadContext{.now = now,
                                              .homeDirectory = directory.path(),
                                              .cacheDirectory = {},
                                              .statistics = StatisticsContext(
                                                  preference, now, *TimeZone::named(systemZone))};
                },
            .indexedSessionFiles = [](const auto&) { return UsageStoreSources::Paths{}; },
            .localUsageFingerprint =
                [this](const auto& context, const auto&) {
                    beforeFingerprint();
                    return fingerprint(context);
                },
            .taskBoardFingerprint = [this](const auto& context) { return fingerprint(context); },
            .loadKept = [this](const auto&) { return kept; },
            .load =
                [this, reader](const auto& context, const auto& request) {
                    begin(context, fullReads);
                    return reader->load(context, request);
                },
            .loadQuota =
                [this](const auto& context) {
                    begin(context, quotaReads);
                    return makeQuotaSnapshot(
                        {.context = context, .appServer = {official(context.now, false), {}}});
                },
            .readLocalUsage =
                [this](const auto& context) {
                    begin(context, localReads);
                    return localUsage(context);
                },
            .loadTaskBoard =
                [this](const auto& context) {
                    begin(context, boardReads);
                    return board(context).board;
                }};
    }
};

inline const LocalUsage* localOf(const UsageStore& store) {
    const auto& local = store.state().snapshot.local;
    return local ? &*local : nullptr;
}

inline std::optional<std::int64_t> todayOf(const UsageStore& store) {
    return localOf(store) == nullptr ? std::nullopt : localOf(store)->todayTokens;
}

inline std::optional<std::int64_t> boardTokens(const UsageStore& store) {
    const auto& board = store.state().snapshot.taskBoard;
    return board ? board->columns.at(0).items.at(0).tokens : std::nullopt;
}

inline std::optional<std::int64_t> quotaNumber(const UsageStore& store) {
    const auto& window = store.state().snapshot.secondary;
    return window ? std::optional<std::int64_t>(std::llround(window->usedPercent * 1000))
                  : std::nullopt;
}

}  // namespace vantry::UsageStoreSelfTest
