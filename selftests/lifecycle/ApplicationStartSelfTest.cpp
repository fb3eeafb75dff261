#include "lifecycle/ApplicationStart.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::ApplicationStartSelfTest {

namespace {

using Lock = ApplicationPlatform::LockOutcome;

/// Writes down what is asked of it.
class RecordingPlatform : public ApplicationPlatform {
  public:
    RecordingPlatform(bool hasBundle, Lock lock) : hasBundle_(hasBundle), lock_(std::move(lock)) {}

    std::optional<std::string> bundleIdentifier() override {
        return hasBundle_ ? std::optional<std::string>("self-test") : std::nullopt;
    }
    LockOutcome acquireInstanceLock(const std::string& bundleIdentifier) override {
        log += "lock " + bundleIdentifier + ";";
        return lock_;
    }
    void requestActivation(const std::string& bundleIdentifier) override {
        log += "activate " + bundleIdentifier + ";";
    }
    void migrateDefaults() override { log += "migrate;"; }
    void runApplication() override { log += "run;"; }

    std::string log;

  private:
    bool hasBundle_;
    Lock lock_;
};

}  // namespace

bool run() {
    SelfTest test("application start");
    const Lock held = ApplicationPlatform::LockHeldByAnother{};
    const Lock acquired = ApplicationPlatform::LockAcquired{};
    const Lock failed = ApplicationPlatform::LockFailed{"refused"};
    using Case = std::tuple<bool, Lock, bool, const char*>;
    constexpr const char* lockOnly = "lock self-test;";
    for (const auto& [hasBundle, lock, isLifecycleLaunch, expected] :
         {Case{false, acquired, false, ""}, Case{false, acquired, true, ""},
          Case{true, acquired, false, "lock self-test;migrate;run;"},
          Case{true, acquired, true, "lock self-test;migrate;run;"},
          Case{true, held, false, "lock self-test;activate self-test;"},
          Case{true, held, true, lockOnly}, Case{true, failed, false, lockOnly},
          Case{true, failed, true, lockOnly}}) {
        RecordingPlatform platform(hasBundle, lock);
        std::vector<std::string_view> arguments{"vantry", "--unknown"};
        if (isLifecycleLaunch) arguments.emplace_back("--codex-lifecycle-launch");
        startApplication(arguments, platform);
        test.expect(platform.log == expected,
                    "expected \"" + std::string(expected) + "\", saw \"" + platform.log + "\"");
    }
    return test.finish();
}

}  // namespace vantry::ApplicationStartSelfTest
