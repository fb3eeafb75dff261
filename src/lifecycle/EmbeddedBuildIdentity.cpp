#include "BuildIdentity.inc"
#include "lifecycle/InstallationIdentity.h"
#include "platform/Application.h"

namespace vantry {

// The one file that a new commit compiles anew.
EmbeddedBuildIdentity EmbeddedBuildIdentity::current() {
    return of([](std::string_view key) -> std::optional<std::string> {
        if (key == "CFBundleShortVersionString") return std::string(application::version);
        if (key == "CFBundleVersion") return VANTRY_BUILD_NUMBER;
        if (key == "VantryBuildCommit") return VANTRY_BUILD_COMMIT;
        if (key == "VantryBuildSourceState") return VANTRY_BUILD_SOURCE_STATE;
        if (key == "VantryBuildArchitecture") return VANTRY_BUILD_ARCHITECTURE;
        return std::nullopt;
    });
}

}  // namespace vantry
