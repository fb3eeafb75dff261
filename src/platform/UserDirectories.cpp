#include "platform/UserDirectories.h"

#include <array>
#include <pwd.h>
#include <unistd.h>

namespace vantry {

namespace fs = std::filesystem;

fs::path absolutePath(const fs::path& path) {
    std::error_code error;
    fs::path absolute = fs::absolute(path, error);
    return error ? fs::path("/") / path : absolute;
}

UserDirectories UserDirectories::below(const fs::path& home) {
    return {.home = home,
            .config = home / ".config",
            .data = home / ".local/share",
            .state = home / ".local/state",
            .cache = home / ".cache"};
}

UserDirectories UserDirectories::current(const Environment& environment) {
    const std::string override = environment("VANTRY_HOME_OVERRIDE").value_or("");
    if (!override.empty()) return below(absolutePath(override));
    UserDirectories result = below(realHome(environment));
    const auto replace = [&](fs::path& directory, const char* variable) {
        const fs::path value = environment(variable).value_or("");
        if (value.is_absolute()) directory = value;
    };
    replace(result.config, "XDG_CONFIG_HOME");
    replace(result.data, "XDG_DATA_HOME");
    replace(result.state, "XDG_STATE_HOME");
    replace(result.cache, "XDG_CACHE_HOME");
    return result;
}

fs::path UserDirectories::realHome(const Environment& environment) {
    fs::path home = environment("HOME").value_or("");
    if (home.is_absolute()) return home;
    passwd entry{};
    passwd* found = nullptr;
    std::array<char, 16384> buffer{};
    if (::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr && found->pw_dir != nullptr && found->pw_dir[0] == '/') {
        return found->pw_dir;
    }
    return "/";
}

}  // namespace vantry
