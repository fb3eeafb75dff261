#include "statistics/RuntimeLoadContext.h"

#include "platform/Application.h"
#include "platform/UserDirectories.h"

namespace vantry {

RuntimeLoadContext RuntimeLoadContext::live(
    Date now, const StatisticsTimeZonePreference& statisticsPreference,
    const Environment& environment) {
    const UserDirectories directories = UserDirectories::current(environment);
    const std::string cacheOverride = environment("VANTRY_CACHE_OVERRIDE").value_or("");
    const std::string codex = environment("VANTRY_CODEX_PATH").value_or("");
    return {
        .now = now,
        .homeDirectory = directories.home,
        .cacheDirectory = cacheOverride.empty() ? directories.cache / application::displayName
                                                : absolutePath(cacheOverride),
        .statistics = StatisticsContext(statisticsPreference, now, TimeZone::system(environment)),
        .movedCodex = CodexFolders::current(environment),
        .usersCodex = CodexFolders::ofUser(environment),
        .chosenCodex = codex.empty() ? std::nullopt : std::optional<std::filesystem::path>(codex),
        .dataDirectory = cacheOverride.empty() ? directories.data / application::displayName
                                               : absolutePath(cacheOverride)};
}

}  // namespace vantry
