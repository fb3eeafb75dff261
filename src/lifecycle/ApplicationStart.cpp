#include "lifecycle/ApplicationStart.h"

#include <algorithm>

#include "diagnostics/DebugLog.h"

namespace vantry {

AppSingleInstanceStartupDecision AppSingleInstanceStartupPolicy::decision(
    const Circumstances& circumstances) {
    using Decision = AppSingleInstanceStartupDecision;
    if (!circumstances.hasBundleIdentifier || circumstances.lockFailed) return Decision::abort;
    if (circumstances.lockAcquired) return Decision::run;
    return circumstances.isLifecycleLaunch ? Decision::abort : Decision::activateExisting;
}

void startApplication(const std::vector<std::string_view>& arguments,
                      ApplicationPlatform& platform) {
    const auto bundleIdentifier = platform.bundleIdentifier();
    AppSingleInstanceStartupPolicy::Circumstances circumstances{.hasBundleIdentifier =
                                                                    bundleIdentifier.has_value()};
    if (bundleIdentifier) {
        const auto outcome = platform.acquireInstanceLock(*bundleIdentifier);
        if (const auto* failed = std::get_if<ApplicationPlatform::LockFailed>(&outcome)) {
            circumstances.lockFailed = true;
            debugLog("single instance lock failed: " + failed->description);
        }
        circumstances.lockAcquired =
            std::holds_alternative<ApplicationPlatform::LockAcquired>(outcome);
    }
    circumstances.isLifecycleLaunch =
        std::ranges::find(arguments, "--codex-lifecycle-launch") != arguments.end();

    switch (AppSingleInstanceStartupPolicy::decision(circumstances)) {
        case AppSingleInstanceStartupDecision::activateExisting:
            platform.requestActivation(*bundleIdentifier);
            break;
        case AppSingleInstanceStartupDecision::abort:
            if (!bundleIdentifier) {
                debugLog("single instance lock unavailable: missing bundle identifier");
            }
            break;
        case AppSingleInstanceStartupDecision::run:
            // Preferences move before anything reads one.
            platform.migrateDefaults();
            platform.runApplication();
            break;
    }
}

}  // namespace vantry
