#include "selftests/SelfTestModes.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <string>

#include "selftests/Suites.h"

namespace vantry {

namespace {

SelfTestSuite notBuilt(std::string_view subject) {
    return {.subject = subject, .run = nullptr};
}

}  // namespace

bool SelfTestMode::isComplete() const {
    return std::ranges::all_of(suites, [](const SelfTestSuite& suite) { return !!suite.run; });
}

bool SelfTestSuite::passes() const {
    std::string failure = "not built";
    if (run) {
        try {
            return run();
        } catch (const std::exception& error) {
            failure = error.what();
        }
    }
    std::cout << subject << " self-test failed: " << failure << std::endl;
    return false;
}

bool SelfTestMode::run() const {
    bool passed = true;
    for (const SelfTestSuite& suite : suites) passed = suite.passes() && passed;
    return passed;
}

const std::vector<SelfTestMode>& selfTestModes() {
    static const std::vector<SelfTestMode> modes{
        {"--self-test-model-usage",
         {SelfTestSuite{"model usage trend", ModelUsageTrendSelfTest::run},
          SelfTestSuite{"model usage parser", CodexUsageReader::runModelUsageParsingSelfTest}}},
        {"--self-test-task-facts",
         {SelfTestSuite{"task semantics", TaskSemanticsSelfTest::run},
          SelfTestSuite{"codex session opener", CodexSessionOpenerSelfTest::run}}},
        {"--self-test-status-item",
         {{"rate limit parsing", CodexUsageReader::runRateLimitParsingSelfTest},
          {"platform", PlatformSelfTest::run},
          {"main loop", MainLoopSelfTest::run},
          {"bounded process", BoundedProcessRunnerSelfTest::run},
          {"reader IO", ReaderIOSelfTest::run},
          {"quota window", QuotaWindowSelfTest::run},
          {"codex executable", CodexExecutableSelfTest::run},
          {"app-server conversation", AppServerConversationSelfTest::run},
          {"app-server session", AppServerSessionSelfTest::run},
          {"runtime load", RuntimeLoadSelfTest::run},
          {"agent usage aggregation", AgentUsageAggregatorSelfTest::run},
          {"official daily usage", OfficialDailyUsageSelfTest::run},
          {"session usage cache", SessionUsageCacheSelfTest::run},
          {"session lineage", SessionLineageSelfTest::run},
          {"session parser budget", SessionParserBudgetSelfTest::run},
          {"session store", SessionStoreSelfTest::run},
          {"skill attribution", SkillAttributionSelfTest::run},
          {"usage trend", UsageTrendSelfTest::run},
          {"local analytics", LocalAnalyticsSelfTest::run},
          {"codex project name parsing", CodexUsageReader::runCodexProjectNameParsingSelfTest},
          {"status item", StatusItemPresentationSelfTest::run},
          {"main window shortcut", MainWindowShortcutSelfTest::run},
          {"quota refresh fallback", QuotaRefreshFallbackSelfTest::run},
          {"refresh source fingerprint", RefreshSourceFingerprintSelfTest::run},
          {"usage store", UsageStoreSelfTest::run},
          {"store parts", StorePartsSelfTest::run},
          {"watch day", WatchDaySelfTest::run},
          {"task board presentation", TaskBoardPresentationSelfTest::run},
          {"desktop widget snapshot", DesktopWidgetSnapshotSelfTest::run},
          {"watch lines", WatchLinesSelfTest::run},
          {"palette", PaletteSelfTest::run},
          {"window animation clock", WindowAnimationClockPolicySelfTest::run},
          {"dashboard navigation", DashboardNavigationSelfTest::run},
          {"line chart geometry", UsageTrendLayoutSelfTest::run},
          {"surfaces", SurfacesSelfTest::run},
          {"window placement", WindowPlacementSelfTest::run},
          {"quota early recovery", QuotaEarlyRecoverySelfTest::run}}},
        {"--self-test-statistics-time-zone",
         {{"statistics time zone", StatisticsTimeZoneSelfTest::run}}},
        {"--self-test-personal-usage", {{"personal usage", PersonalUsageSelfTest::run}}},
        {"--self-test-codex-lifecycle", {notBuilt("codex lifecycle")}},
        {"--self-test-single-instance",
         {SelfTestSuite{"application start", ApplicationStartSelfTest::run},
          SelfTestSuite{"single instance", AppSingleInstanceSelfTest::run}}},
        {"--self-test-json-dump", {{"JSON dump writer", JSONDumpWriterSelfTest::run}}},
        {"--self-test-installation-identity",
         {{"installation identity", InstallationIdentitySelfTest::run}}},
        {"--self-test-project-usage-detail",
         {{"project usage detail", ProjectUsageDetailSelfTest::run}}},
        {"--self-test-debug-log", {{"debug log", DebugLogSelfTest::run}}},
        {"--self-test-privacy-disclosure",
         {{"privacy disclosure", PrivacyDisclosureSelfTest::run}}}};
    return modes;
}

}  // namespace vantry
