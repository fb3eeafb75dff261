#pragma once

#include <filesystem>
#include <optional>

#include "platform/Cancellation.h"
#include "platform/CodexFolders.h"
#include "platform/Environment.h"
#include "statistics/StatisticsContext.h"

namespace vantry {

/// What is fixed for one read. An immutable value; any thread.
struct RuntimeLoadContext {
    Date now;                              ///< every day boundary and capture time of the read
    std::filesystem::path homeDirectory;   ///< the user's home
    std::filesystem::path cacheDirectory;  ///< where this program's caches lie
    StatisticsContext statistics;
    /// Session events written after the read began may be counted.
    bool acceptsEventsWrittenDuringLoad = false;
    /// Where Codex's files lie, if not in the `.codex` of the home.
    std::optional<CodexFolders> movedCodex = {};

    /// Those of the user himself, where an override of the home moved the others.
    std::optional<CodexFolders> usersCodex = {};

    /// The codex that the user wants to be run, in place of one that is looked for.
    std::optional<std::filesystem::path> chosenCodex = {};

    /// Where lies what cannot be made again, if not with the caches.
    std::filesystem::path dataDirectory = {};

    /// Ends the children that the read waits for, and lets it start no other.
    Cancellation cancellation = {};

    const std::filesystem::path& recordDirectory() const {
        return dataDirectory.empty() ? cacheDirectory : dataDirectory;
    }

    CodexFolders codex() const { return movedCodex.value_or(CodexFolders::below(homeDirectory)); }

    CodexFolders userCodex() const { return usersCodex ? *usersCodex : CodexFolders::ofUser(); }

    /// The context of a real read: the user's directories, or those that VANTRY_HOME_OVERRIDE and
    /// VANTRY_CACHE_OVERRIDE name, Codex's folders, the program that VANTRY_CODEX_PATH names, and
    /// the machine's zone.
    static RuntimeLoadContext live(Date now,
                                   const StatisticsTimeZonePreference& statisticsPreference,
                                   const Environment& environment = processEnvironment);
};

}  // namespace vantry
