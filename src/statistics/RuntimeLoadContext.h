#pragma once

#include <filesystem>

#include "platform/Environment.h"
#include "statistics/StatisticsContext.h"

namespace vantry {

/// What is fixed for one read. An immutable value in all but its last field; any thread.
struct RuntimeLoadContext {
    Date now;                              ///< every day boundary and capture time of the read
    std::filesystem::path homeDirectory;   ///< where `.codex` is found
    std::filesystem::path cacheDirectory;  ///< where this program's caches lie
    StatisticsContext statistics;
    /// Session events written after the read began may be counted.
    bool acceptsEventsWrittenDuringLoad = false;

    /// The context of a real read: the user's directories, or those that VANTRY_HOME_OVERRIDE and
    /// VANTRY_CACHE_OVERRIDE name, and the machine's zone.
    static RuntimeLoadContext live(Date now,
                                   const StatisticsTimeZonePreference& statisticsPreference,
                                   const Environment& environment = processEnvironment);
};

}  // namespace vantry
