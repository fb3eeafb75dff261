#pragma once

#include <optional>
#include <string>
#include <vector>

#include "session/settings/AppSettings.h"

namespace vantry {

/// A program or a folder of Codex that was found.
struct FoundCodex {
    std::string path;
    std::string version;  ///< empty: it does not say

    friend bool operator==(const FoundCodex&, const FoundCodex&) = default;
};

/// What the settings and the documents need to know of the machine and of this installation.
/// Gathered by the program, in the background.
struct MachineFacts {
    std::string homeDirectory;
    std::string systemZone = "GMT";
    std::vector<std::string> knownZones;
    CodexPathsOfEnvironment environmentPaths;  ///< these win over the settings
    std::vector<FoundCodex> codexPrograms;
    std::vector<FoundCodex> codexHomes;
    std::string version;
    std::string build;               ///< commit, architecture and where it was installed from
    std::string website;             ///< empty: the installed pages are opened
    std::string documentsDirectory;  ///< of the installed pages
    /// Absent: following Codex and starting at login can be had. Otherwise why not, in words of
    /// the system.
    std::optional<std::string> backgroundTrouble;
    bool canFollowCodex = false;
    bool canStartAtLogin = false;
    bool canRegisterShortcut = false;
    bool hasTray = false;

    /// Pages of the website where there is one, otherwise the installed ones.
    std::string privacyPolicyURL() const;
    std::string openSourceLicenseURL() const;

    friend bool operator==(const MachineFacts&, const MachineFacts&) = default;
};

/// What can be found out without a desktop. Starts each program of Codex that is found, so that it
/// says its version: blocks for as long as they take, three seconds each at most.
MachineFacts gatherMachineFacts(const Environment& environment = processEnvironment);

}  // namespace vantry
