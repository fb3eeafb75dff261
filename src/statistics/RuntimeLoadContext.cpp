#include "statistics/RuntimeLoadContext.h"

#include "platform/Application.h"
#include "platform/UserDirectories.h"

namespace vantry {

RuntimeLoadContext RuntimeLoadContext::live(
    Date now, const StatisticsTimeZonePreference& statisticsPreference,
    const Environment& environment) {
    const UserDirectories directories = UserDirectories::current(environment);
    const auto cacheOverride = environment("VANTRY_CACHE_OVERRIDE");
    return {
        .now = now,
        .homeDirectory = directories.home,
        .cacheDirectory = cacheOverride ? std::filesystem::path(*cacheOverride)
                                        : directories.cache / application::displayName,
        .statistics = StatisticsContext(statisticsPreference, now, TimeZone::system(environment))};
}

}  // namespace vantry
