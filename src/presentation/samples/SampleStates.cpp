#include "presentation/samples/SampleStates.h"

#include <array>
#include <functional>
#include <utility>

#include "official/HybridDailyUsage.h"
#include "platform/Iso8601.h"
#include "presentation/samples/SampleUsage.h"

namespace vantry {

namespace {

/// A Monday noon and a half, in a zone where days are long.
Date sampleNow() {
    return iso8601Date("2026-11-23T12:31:00Z").value_or(Date(0));
}

StatisticsContext sampleStatistics(Date now) {
    return StatisticsContext({.selection = StatisticsTimeZoneSelection::utc}, now, TimeZone::utc());
}

/// A state in the making: one runtime that everything is said of.
struct Sample {
    SampleState shown;
    RuntimeUsageSnapshot runtime;
    StatisticsContext statistics;

    UsageSnapshot& snapshot() { return runtime.snapshot; }
};

void addQuota(Sample& sample, double usedOfFiveHours, double usedOfWeek) {
    UsageSnapshot& snapshot = sample.snapshot();
    const Date now = sample.shown.now;
    snapshot.account = AccountInfo{.type = "chatgpt", .planType = "plus", .emailPresent = true};
    snapshot.accountIdentity = "codex-account:sample";
    snapshot.primary = RateWindow{
        .usedPercent = usedOfFiveHours, .windowDurationMins = 300, .resetsAt = now + 6'480};
    snapshot.secondary = RateWindow{
        .usedPercent = usedOfWeek, .windowDurationMins = 10'080, .resetsAt = now + 333'000};
    snapshot.credits = CreditsInfo{.resetCredits = 2};
    snapshot.readerState.appServer = AppServerReadState::responded;
    sample.runtime.status = RuntimeMenuStatus::available;
    sample.runtime.quotaCapturedAt = now;
}

void addOfficialDays(Sample& sample, const SampleScale& scale, std::int64_t lifetime) {
    UsageSnapshot& snapshot = sample.snapshot();
    snapshot.officialLifetimeTokens = lifetime;
    snapshot.officialLifetimeCapturedAt = sample.shown.now;
    snapshot.officialUsageReadStatus = OfficialUsageReadStatus::succeeded;
    snapshot.cloudDailyBuckets = sampleOfficialDays(scale, sample.statistics);
    snapshot.cloudDailyUsageAttempted = true;
    snapshot.cloudDailyUsageCapturedAt = sample.shown.now;
}

void addLocal(Sample& sample, const SampleScale& scale) {
    UsageSnapshot& snapshot = sample.snapshot();
    LocalUsage local = sampleUsage(scale, sample.statistics);
    if (snapshot.cloudDailyBuckets) {
        const RuntimeLoadContext context{.now = sample.shown.now, .statistics = sample.statistics};
        local =
            CodexUsageReader::mergeCloudDailyUsage({.cloudDailyBuckets = snapshot.cloudDailyBuckets,
                                                    .into = std::move(local),
                                                    .context = context})
                .local;
    }
    snapshot.local = std::move(local);
    snapshot.localUsageCapturedAt = sample.shown.now;
    snapshot.localUsageReadStatus = LocalUsageReadStatus::complete;
    snapshot.taskBoard = sampleTaskBoard(scale, sample.shown.now);
    snapshot.refreshedAt = sample.shown.now;
}

void addEverything(Sample& sample, const SampleScale& scale = {},
                   std::int64_t lifetime = 18'900'000'000) {
    addQuota(sample, 23, 40);
    addOfficialDays(sample, scale, lifetime);
    addLocal(sample, scale);
}

void failToRead(Sample& sample, NoticeKind kind) {
    sample.snapshot().readerState.appServer = AppServerReadState::failed;
    sample.snapshot().messages.push_back({.kind = kind});
}

void makeFirstRun(Sample& sample) {
    sample.shown.navigation.selectedTab = DashboardTab::usage;
    UsageSnapshot& snapshot = sample.snapshot();
    snapshot.readerState = {
        .appServer = AppServerReadState::executableMissing,
        .localDependencyFailure = LocalReaderDependencyFailure::databaseMissing};
    snapshot.localUsageReadStatus = LocalUsageReadStatus::unavailable;
    snapshot.messages = {{.kind = NoticeKind::codexMissing},
                         {.kind = NoticeKind::databaseMissing},
                         {.kind = NoticeKind::taskBoardSourceMissing}};
    sample.shown.settings.personalUsagePreferences = {};
}

void makeReading(Sample& sample) {
    sample.snapshot().readerState = ReaderControlState::loading();
    sample.snapshot().messages = {{.kind = NoticeKind::readBegins}};
    sample.shown.state.isRefreshing = true;
}

void makeStale(Sample& sample) {
    addEverything(sample);
    UsageSnapshot& snapshot = sample.snapshot();
    const Date earlier = sample.shown.now - 7'260;
    sample.runtime.status = RuntimeMenuStatus::stale;
    sample.runtime.quotaCapturedAt = earlier;
    snapshot.cloudDailyUsageIsStale = snapshot.officialLifetimeIsStale = true;
    snapshot.cloudDailyUsageCapturedAt = snapshot.officialLifetimeCapturedAt = earlier;
    snapshot.localUsageIsStale = true;
    snapshot.localUsageCapturedAt = earlier;
    snapshot.localUsageReadStatus = LocalUsageReadStatus::staleFallback;
    snapshot.bindTaskBoardTokens();
    failToRead(sample, NoticeKind::appServerTimedOut);
    snapshot.messages.push_back({.kind = NoticeKind::sessionLogsWaitStale, .count = 3});
}

void makeSignedOut(Sample& sample) {
    addLocal(sample, {});
    sample.runtime.status = RuntimeMenuStatus::localOnly;
    failToRead(sample, NoticeKind::appServerRefused);
    sample.snapshot().officialUsageReadStatus = OfficialUsageReadStatus::failed;
}

void makeLogsMissing(Sample& sample) {
    addEverything(sample);
    LocalUsageGaps& gaps = sample.snapshot().local->gaps;
    for (int i = 0; i < 23; ++i) {
        gaps.add(LocalUsageGapKind::missingLog,
                 "/home/kim/.codex/sessions/2026/09/" + std::to_string(10 + i) + "/rollout.jsonl");
    }
    gaps.add(LocalUsageGapKind::damagedLog, "/home/kim/.codex/sessions/2026/10/01/rollout.jsonl");
    gaps.add(LocalUsageGapKind::goneLog, "/home/kim/.codex/sessions/2026/08/02/rollout.jsonl", 4);
    gaps.settle();
}

using Make = std::function<void(Sample&)>;

const std::vector<std::pair<std::string_view, Make>>& makers() {
    static const std::vector<std::pair<std::string_view, Make>> list{
        {"first-run", makeFirstRun},
        {"reading", makeReading},
        {"all-good", [](Sample& sample) { addEverything(sample); }},
        {"models",
         [](Sample& sample) {
             addEverything(sample);
             sample.shown.navigation.isShowingModelUsage = true;
         }},
        {"project",
         [](Sample& sample) {
             addEverything(sample);
             sample.shown.navigation.selectedTab = DashboardTab::projects;
             sample.shown.navigation.selectedProjectID = "/home/kim/work/vantry-core";
         }},
        {"all-time",
         [](Sample& sample) {
             addEverything(sample);
             sample.shown.navigation.selectedTab = DashboardTab::projects;
             sample.shown.navigation.projectTimeframe = ProjectTimeframe::all;
         }},
        {"unfolded",
         [](Sample& sample) {
             addEverything(sample);
             sample.shown.navigation.selectedTab = DashboardTab::skills;
             sample.shown.navigation.unfoldedSkillID = "skill:release-notes";
             sample.shown.navigation.unfoldedToolID = "exec_command";
         }},
        {"stale", makeStale},
        {"signed-out", makeSignedOut},
        {"logs-missing", makeLogsMissing},
        {"quota-used-up",
         [](Sample& sample) {
             addEverything(sample);
             addQuota(sample, 100, 100);
         }},
        {"other-limits",
         [](Sample& sample) {
             addEverything(sample);
             AccountLimits& limits = sample.snapshot().limits;
             limits.otherLimits = {{.id = "codex",
                                    .windows = {{.usedPercent = 12,
                                                 .windowDurationMins = 43'200,
                                                 .resetsAt = sample.shown.now + 900'000}}},
                                   {.id = "codex_spark",
                                    .name = "GPT-5.5 Spark",
                                    .windows = {{.usedPercent = 100,
                                                 .windowDurationMins = 300,
                                                 .resetsAt = sample.shown.now + 4'000}},
                                    .rateLimitReachedType = "rate_limit_reached"}};
         }},
        {"narrow-window",
         [](Sample& sample) {
             addEverything(sample);
             sample.shown.windowWidth = 760;
         }},
        {"long-names", [](Sample& sample) { addEverything(sample, {.hasLongNames = true}); }},
        {"huge-numbers",
         [](Sample& sample) {
             addEverything(sample, {.tokensOfDay = 48'000'000'000}, 9'000'000'000'000'000'000);
         }},
        {"tiny-numbers",
         [](Sample& sample) { addEverything(sample, {.tokensOfDay = 1, .usedDays = 3}, 0); }},
    };
    return list;
}

Sample emptySample(std::string_view name) {
    const Date now = sampleNow();
    Sample sample{.shown = {.name = std::string(name), .now = now},
                  .statistics = sampleStatistics(now)};
    AppSettingsValues& settings = sample.shown.settings;
    settings.personalUsagePreferences = {.storedDailyTokenGoal = 2'000'000,
                                         .storedWeeklyTokenGoal = 10'000'000,
                                         .renewalDay = CalendarDay{2026, 12, 5}};
    settings.statusItemPreferences.visibleMetrics.insert(StatusItemMetric::todayTokens);
    settings.mainWindowShortcut = MainWindowShortcut{
        .keyCode = 'm',
        .carbonModifiers = MainWindowShortcut::control | MainWindowShortcut::option,
        .keyLabel = "M"};
    sample.shown.machine = {.homeDirectory = "/home/kim",
                            .systemZone = "UTC",
                            .knownZones = {"Asia/Shanghai", "Europe/Berlin", "UTC"},
                            .codexPrograms = {{"/usr/local/bin/codex", "0.169.0"},
                                              {"/home/kim/.local/bin/codex", "0.160.0"}},
                            .codexHomes = {{"/home/kim/.codex", ""}},
                            .version = "0.1.1",
                            .build = "unknown · x86_64",
                            .documentsDirectory = "/usr/share/doc/vantry",
                            .canFollowCodex = true,
                            .canStartAtLogin = true,
                            .canRegisterShortcut = true,
                            .hasTray = true};
    sample.snapshot().refreshedAt = now;
    return sample;
}

}  // namespace

std::vector<std::string_view> sampleStateNames() {
    std::vector<std::string_view> names;
    for (const auto& [name, make] : makers()) names.push_back(name);
    return names;
}

std::optional<SampleState> sampleState(std::string_view name) {
    for (const auto& [known, make] : makers()) {
        if (known != name) continue;
        Sample sample = emptySample(name);
        make(sample);
        UsageStoreState& state = sample.shown.state;
        state.snapshot = sample.snapshot();
        state.statisticsPreference = sample.statistics.preference();
        state.multiRuntimeSnapshot.refreshedAt = sample.snapshot().refreshedAt;
        state.multiRuntimeSnapshot.statisticsIdentity = {
            .preference = sample.statistics.preference(),
            .resolvedIdentifier = sample.statistics.resolvedIdentifier(),
            .now = sample.shown.now};
        state.multiRuntimeSnapshot.aggregate = sample.snapshot();
        if (name != "reading") state.multiRuntimeSnapshot.runtimes = {sample.runtime};
        return std::move(sample.shown);
    }
    return std::nullopt;
}

}  // namespace vantry
