#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vantry {

enum class AppSingleInstanceStartupDecision { run, activateExisting, abort };

/// Whether a process may become the running application.
namespace AppSingleInstanceStartupPolicy {

struct Circumstances {
    bool hasBundleIdentifier = false;
    bool lockAcquired = false;
    bool lockFailed = false;
    bool isLifecycleLaunch = false;  ///< started by the background agent
};

/// In doubt nothing is started. A background start that finds the program running ends without a
/// sign; a start by hand brings the running one to the front.
AppSingleInstanceStartupDecision decision(const Circumstances& circumstances);

}  // namespace AppSingleInstanceStartupPolicy

/// What the start of the application needs of the machine. Main thread.
class ApplicationPlatform {
  public:
    struct LockAcquired {};
    struct LockHeldByAnother {};
    struct LockFailed {
        std::string description;
    };
    using LockOutcome = std::variant<LockAcquired, LockHeldByAnother, LockFailed>;

    virtual ~ApplicationPlatform() = default;

    /// Absent when the program was not started from its installed application.
    virtual std::optional<std::string> bundleIdentifier() = 0;
    /// A lock that was acquired is held until the process ends.
    virtual LockOutcome acquireInstanceLock(const std::string& bundleIdentifier) = 0;
    virtual void requestActivation(const std::string& bundleIdentifier) = 0;
    virtual void migrateDefaults() = 0;
    /// Returns when the application ends.
    virtual void runApplication() = 0;
};

/// Decides, and then runs the application, brings a running one to the front, or does nothing.
/// `arguments` are the process's own, the program's name included.
void startApplication(const std::vector<std::string_view>& arguments,
                      ApplicationPlatform& platform);

}  // namespace vantry
