#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

/// Finding a `codex` program that may be run.
///
/// Only the program that the user has chosen, or one of a known install place, is run. No component
/// below such a place may be a symbolic link: a `codex` in a downloads folder is never run, however
/// executable it is. Reads the file system; any thread.
namespace vantry::CodexUsageReader {

struct CodexSearch {
    std::filesystem::path homeDirectory;
    /// Stands before every path outside the home; for tests with a prepared tree.
    std::filesystem::path systemRoot = "/";
    /// The user's choice. Nothing else is then looked for.
    std::optional<std::filesystem::path> chosenProgram = {};
};

/// The six paths inside the two application bundles, in order of preference.
std::vector<std::filesystem::path> standardCodexExecutablePaths();

/// The first path that is executable and then is allowed.
std::optional<std::filesystem::path> firstAllowedCodexExecutablePath(
    const std::vector<std::filesystem::path>& paths,
    const std::function<bool(const std::filesystem::path&)>& isExecutable,
    const std::function<bool(const std::filesystem::path&)>& isAllowed);

/// Whether the path lies in one of the places that programs are run from.
bool codexExecutableAccessIsAllowed(const std::filesystem::path& path, const CodexSearch& search);

/// The chosen program, if it is named by an absolute path and can be run; links are followed to it.
/// Without a choice the fixed paths first, then the native program inside the trees that npm,
/// Homebrew and Volta install to, a newer version before an older one.
std::optional<std::filesystem::path> resolveCodexExecutablePath(const CodexSearch& search);

/// Every program that may be run, in the order in which they are preferred, without the choice;
/// links that lead to one program give it once.
std::vector<std::filesystem::path> codexExecutablePaths(const CodexSearch& search);

}  // namespace vantry::CodexUsageReader
