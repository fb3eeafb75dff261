#pragma once

#include <filesystem>

#include "platform/Environment.h"

namespace vantry {

/// The path as seen from the current directory, so that it names one place wherever it is used.
std::filesystem::path absolutePath(const std::filesystem::path& path);

/// Where one user's files lie, by the XDG base directory rules. Nothing is created here.
struct UserDirectories {
    std::filesystem::path home;
    std::filesystem::path config;  ///< settings: ~/.config
    std::filesystem::path data;    ///< durable files: ~/.local/share
    std::filesystem::path state;   ///< logs: ~/.local/state
    std::filesystem::path cache;   ///< what can be made again: ~/.cache

    /// The directories below `home`, whatever the environment says.
    static UserDirectories below(const std::filesystem::path& home);

    /// The directories of this process: those below VANTRY_HOME_OVERRIDE when it holds a path,
    /// otherwise the real home with each XDG variable that holds an absolute path.
    static UserDirectories current(const Environment& environment = processEnvironment);

    /// The home as the operating system reports it: HOME when that is an absolute path, else the
    /// password database's entry, else "/".
    static std::filesystem::path realHome(const Environment& environment = processEnvironment);
};

}  // namespace vantry
