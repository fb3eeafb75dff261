#pragma once

#include <filesystem>

#include "platform/Environment.h"

namespace vantry {

/// Where one user's Codex keeps its files. Nothing is created here.
struct CodexFolders {
    std::filesystem::path home;       ///< logs, names, automations: ~/.codex
    std::filesystem::path databases;  ///< the state databases; mostly the same folder

    /// Those below `userHome`, whatever the environment says.
    static CodexFolders below(const std::filesystem::path& userHome);

    /// Those of this process: below VANTRY_HOME_OVERRIDE when it holds a path, and otherwise where
    /// CODEX_HOME and CODEX_SQLITE_HOME say, as Codex itself reads them.
    static CodexFolders current(const Environment& environment = processEnvironment);

    /// Those of the user himself, which an override of the home does not move.
    static CodexFolders ofUser(const Environment& environment = processEnvironment);

    friend bool operator==(const CodexFolders&, const CodexFolders&) = default;
};

}  // namespace vantry
