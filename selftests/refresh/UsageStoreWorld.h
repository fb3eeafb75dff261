#pragma once

#include <deque>
#include <functional>
#include <memory>

#include "platform/HandCrankedMainLoop.h"
#include "refresh/StatisticsDay.h"
#include "refresh/UsageStore.h"
#include "runtime/CodexRuntimeProvider.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"

namespace vantry::UsageStoreSelfTest {

using namespace CodexUsageReader;
using Status = LocalUsageReadStatus;

/// What is true of a read. Every figure that it gives is its number, and so can be traced to it.
struct Fact {
    Date readAt;
    std::string zone;
    std::string account;
    int epoch = 0;
};

enum class Local { complete, partial, failed };

/// A machine with sources that do as they are told, a clock, and a queue that is run by hand.
struct World {
    explicit World(const char* start) : loop(at(start)) {}

    TemporaryDirectory directory{"vantry-usage-store-"};
    HandCrankedMainLoop loop;
    std::deque<std::function<void()>> background;
    std::string systemZone = "America/New_York";
    std::optional<std::string> account = "A";
    std::optional<double> used;  ///< percent; the number of the read without one
    AppServerReadState appServer = AppServerReadState::responded;
    Local local = Local::complete;
    bool hasBoard = true;
    bool hasFingerprints = true;
    std::uint64_t revision = 1;  ///< of the files
    int epoch = 0;
    std::vector<Fact> facts{{}};
    int fullReads = 0, quotaReads = 0, localReads = 0, boardReads = 0, records = 0;

    std::unique_ptr<UsageStore> store() {
        return std::make_unique<UsageStore>(UsageStore::Services{
            .loop = loop,
            .runInBackground = [this](auto task) { background.push_back(std::move(task)); },
            .sources = sources(),
            .defaults = UserDefaults(directory.path(), "preferences"),
            .systemTimeZone = [this] { return *TimeZone::named(systemZone); },
            .publishDesktopRecord = [this](const auto&, const auto&, Date) { ++records; }});
    }

    const Fact& fact(std::int64_t figure) const {
        return facts.at(static_cast<std::size_t>(figure));
    }

    /// Runs the read that waits; what it posts stays posted.
    void read() {
        if (background.empty()) return;
        const auto task = std::move(background.front());
        background.pop_front();
        task();
    }
    /// Lets every read that waits, and every one that follows, land.
    void settle() {
        loop.runPosted();
        while (!background.empty()) {
            read();
            loop.runPosted();
        }
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
        facts.push_back({.readAt = context.now,
                         .zone = context.statistics.resolvedIdentifier(),
                         .account = account.value_or(""),
                         .epoch = epoch});
    }
    std::int64_t number() const { return static_cast<std::int64_t>(facts.size()) - 1; }

    AppServerSnapshot official(Date now, bool withUsage) const {
        if (appServer != AppServerReadState::responded) {
            return {.readState = appServer,
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
        if (local == Local::failed) return {.result = {}, .messages = {"failed"}};
        if (local == Local::partial) {
            return {.result = {.local = LocalUsage{.threadCount = 1}, .capturedAt = context.now},
                    .messages = {"partial"}};
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
        if (!hasBoard) return {};
        return {.board = TaskBoard{.refreshedAt = context.now,
                                   .columns = {{.count = 1, .items = {{.threadID = "thread"}}}}},
                .messages = {}};
    }

    UsageStoreSources::Fingerprint fingerprint(const RuntimeLoadContext& context) const {
        if (!hasFingerprints) return std::nullopt;
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
            .localUsage = [this](const RuntimeLoadContext& context) { return localUsage(context); },
            .taskBoard = [this](const RuntimeLoadContext& context) { return board(context); }});
        const auto noFilter = [](const char*) { return std::optional<std::string>(); };
        const auto reader = std::make_shared<MultiRuntimeUsageReader>(RuntimeProviderRegistry(
            RuntimeProviderRegistry::Providers{provider}, Environment(noFilter)));
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
            .localUsageFingerprint = [this](const auto& context,
                                            const auto&) { return fingerprint(context); },
            .taskBoardFingerprint = [this](const auto& context) { return fingerprint(context); },
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

inline bool showsToday(const UsageStore& store, const World& world) {
    const StatisticsContext today(store.state().statisticsPreference, world.loop.now(),
                                  *TimeZone::named(world.systemZone));
    return sameStatisticsDay(
        store.state().multiRuntimeSnapshot.statisticsIdentity,
        {.resolvedIdentifier = today.resolvedIdentifier(), .now = today.now()});
}

/// What is wrong with what is shown; empty if nothing is.
inline std::string wrongIn(const UsageStore& store, const World& world) {
    const UsageStoreState& state = store.state();
    const RuntimeUsageSnapshot* codex = store.runtimeSnapshot(RuntimeScope::codex);
    if (world.background.size() > 1) return "two reads at a time";
    if (world.background.empty() && (state.isRefreshing || state.isRefreshingLocalUsage ||
                                     store.pendingRefreshes() != PendingRefreshes{})) {
        return "somebody waits for a read that nobody starts";
    }
    if (codex == nullptr) return {};
    const StatisticsIdentity& identity = state.multiRuntimeSnapshot.statisticsIdentity;
    const UsageSnapshot& shown = codex->snapshot;
    if (!(state.snapshot == shown)) return "the display is another";
    const Calendar calendar =
        StatisticsContext::calendar(identity.resolvedIdentifier, TimeZone::utc());
    if (!showsToday(store, world) && world.background.empty()) {
        return "another day is shown and nothing is read";
    }
    if (shown.local) {
        const LocalUsage& local = *shown.local;
        if (local.todayTokens == 0 || local.sevenDayTokens == 0 || local.lifetimeTokens == 0 ||
            boardTokens(store) == 0 ||
            (local.detailedUsage && local.detailedUsage->today.tokens.totalTokens == 0)) {
            return "an absent figure is shown as zero";
        }
        for (const auto& figure : {local.todayTokens, boardTokens(store), codex->todayTokens()}) {
            if (!figure) continue;
            const Fact& fact = world.fact(*figure);
            if (fact.zone != identity.resolvedIdentifier ||
                localDayKey(fact.readAt, calendar) != localDayKey(identity.now, calendar)) {
                return "a figure of another day or zone";
            }
        }
        if (const auto all = local.lifetimeTokens) {
            const Fact& fact = world.fact(*all);
            if (fact.readAt != shown.localUsageCapturedAt) return "local usage was renewed";
            if (fact.zone != identity.resolvedIdentifier) return "local usage of another zone";
        }
    } else if (shown.localUsageCapturedAt) {
        return "a capture time of nothing";
    }
    if (const auto number = quotaNumber(store)) {
        const Fact& fact = world.fact(*number);
        if (fact.readAt != codex->quotaCapturedAt) return "the quota's capture time was renewed";
        if (fact.account != shown.accountIdentity.value_or("")) return "another account's quota";
    }
    if (shown.cloudDailyBuckets) {
        const Fact& fact = world.fact(shown.cloudDailyBuckets->at(0).tokens);
        if (fact.readAt != shown.cloudDailyUsageCapturedAt) return "official days were renewed";
        // A session that failed altogether brings back the days of the account before.
        if (shown.accountIdentity.value_or(fact.account) != fact.account) {
            return "another account's days";
        }
    }
    if (shown.officialLifetimeTokens &&
        world.fact(*shown.officialLifetimeTokens).readAt != shown.officialLifetimeCapturedAt) {
        return "the lifetime was renewed";
    }
    return {};
}

inline bool isFromCache(const UsageStore& store) {
    return store.state().statisticsTransitionMessage.value_or("").ends_with(" · 缓存");
}

}  // namespace vantry::UsageStoreSelfTest
