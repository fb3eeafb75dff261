#pragma once

/// Every suite. Each prints its outcome, and is true when all of its expectations held.
// clang-format off
namespace vantry {

namespace AgentUsageAggregatorSelfTest { bool run(); }
namespace AppServerConversationSelfTest { bool run(); }
namespace AppServerSessionSelfTest { bool run(); }
namespace AppSingleInstanceSelfTest { bool run(); }
namespace ApplicationStartSelfTest { bool run(); }
namespace BoundedProcessRunnerSelfTest { bool run(); }
namespace CodexExecutableSelfTest { bool run(); }
namespace CodexSessionOpenerSelfTest { bool run(); }
namespace DashboardNavigationSelfTest { bool run(); }
namespace DebugLogSelfTest { bool run(); }
namespace DesktopWidgetSnapshotSelfTest { bool run(); }
namespace InstallationIdentitySelfTest { bool run(); }
namespace JSONDumpWriterSelfTest { bool run(); }
namespace LocalAnalyticsSelfTest { bool run(); }
namespace MainLoopSelfTest { bool run(); }
namespace MainWindowShortcutSelfTest { bool run(); }
namespace ModelUsageTrendSelfTest { bool run(); }
namespace OfficialDailyUsageSelfTest { bool run(); }
namespace PaletteSelfTest { bool run(); }
namespace PersonalUsageSelfTest { bool run(); }
namespace PlatformSelfTest { bool run(); }
namespace PrivacyDisclosureSelfTest { bool run(); }
namespace ProjectUsageDetailSelfTest { bool run(); }
namespace QuotaEarlyRecoverySelfTest { bool run(); }
namespace QuotaRefreshFallbackSelfTest { bool run(); }
namespace QuotaWindowSelfTest { bool run(); }
namespace ReaderIOSelfTest { bool run(); }
namespace RefreshSourceFingerprintSelfTest { bool run(); }
namespace RuntimeLoadSelfTest { bool run(); }
namespace SessionLineageSelfTest { bool run(); }
namespace SessionParserBudgetSelfTest { bool run(); }
namespace SessionStoreSelfTest { bool run(); }
namespace SessionUsageCacheSelfTest { bool run(); }
namespace SkillAttributionSelfTest { bool run(); }
namespace StatisticsTimeZoneSelfTest { bool run(); }
namespace StatusItemPresentationSelfTest { bool run(); }
namespace SurfacesSelfTest { bool run(); }
namespace TaskBoardPresentationSelfTest { bool run(); }
namespace TaskSemanticsSelfTest { bool run(); }
namespace UsageStoreSelfTest { bool run(); }
namespace StorePartsSelfTest { bool run(); }
namespace WatchDaySelfTest { bool run(); }
namespace UsageTrendSelfTest { bool run(); }
namespace UsageTrendLayoutSelfTest { bool run(); }
namespace WatchLinesSelfTest { bool run(); }
namespace WindowAnimationClockPolicySelfTest { bool run(); }
namespace WindowPlacementSelfTest { bool run(); }

namespace CodexUsageReader {
bool runCodexProjectNameParsingSelfTest();
bool runModelUsageParsingSelfTest();
bool runRateLimitParsingSelfTest();
}

}  // namespace vantry
