#include "official/CodexExecutable.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <unistd.h>

#include "io/LocalFileAccess.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

namespace {

#if defined(__aarch64__)
constexpr const char* nodeArchitecture = "arm64";
constexpr const char* targetTriple = "aarch64-unknown-linux-musl";
#else
constexpr const char* nodeArchitecture = "x64";
constexpr const char* targetTriple = "x86_64-unknown-linux-musl";
#endif

bool isExecutableFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error) && ::access(path.c_str(), X_OK) == 0;
}

// "/usr/lib" below the search's root.
fs::path system(const CodexSearch& search, const char* path) {
    return search.systemRoot / fs::path(path).relative_path();
}

// Compares "v20.9.1" and "v20.10.0" by their numbers.
bool isOlderVersion(const std::string& a, const std::string& b) {
    const auto numbers = [](const std::string& text) {
        std::vector<std::string> found;  // digits without leading zeros: longer is larger
        for (std::size_t i = 0; i < text.size();) {
            if (std::isdigit(static_cast<unsigned char>(text[i])) == 0) {
                ++i;
                continue;
            }
            std::size_t end = i;
            while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end])) != 0)
                ++end;
            while (i + 1 < end && text[i] == '0') ++i;
            found.push_back(text.substr(i, end - i));
            i = end;
        }
        return found;
    };
    const auto isSmaller = [](const std::string& x, const std::string& y) {
        return x.size() != y.size() ? x.size() < y.size() : x < y;
    };
    const auto left = numbers(a);
    const auto right = numbers(b);
    if (left == right) return a < b;
    return std::ranges::lexicographical_compare(left, right, isSmaller);
}

// The directories in `parent`, the newest version first.
std::vector<fs::path> versionsIn(const fs::path& parent) {
    std::vector<fs::path> versions;
    std::error_code error;
    for (fs::directory_iterator entry(parent, error), end; !error && entry != end;
         entry.increment(error)) {
        versions.push_back(entry->path());
    }
    std::ranges::sort(versions, [](const fs::path& a, const fs::path& b) {
        return isOlderVersion(b.filename().string(), a.filename().string());
    });
    return versions;
}

// The three places in which a global npm root has held the native program.
void appendNpmPaths(const fs::path& library, std::vector<fs::path>& paths) {
    const fs::path scope = library / "node_modules/@openai";
    const fs::path native = std::string("codex-linux-") + nodeArchitecture;
    const fs::path program = fs::path("vendor") / targetTriple / "bin/codex";
    paths.push_back(scope / "codex/node_modules/@openai" / native / program);
    paths.push_back(scope / native / program);
    paths.push_back(scope / "codex/vendor" / targetTriple / "codex/codex");
}

void appendHomebrewPaths(const fs::path& prefix, std::vector<fs::path>& paths) {
    for (const fs::path& version : versionsIn(prefix / "Cellar/codex")) {
        paths.push_back(version / "bin/codex");
    }
    for (const fs::path& version : versionsIn(prefix / "Caskroom/codex")) {
        paths.push_back(version / (std::string("codex-") + targetTriple));
        paths.push_back(version / "codex");
    }
}

std::vector<fs::path> fixedPaths(const CodexSearch& search) {
    std::vector<fs::path> paths = standardCodexExecutablePaths();
    for (const char* path : {"/opt/homebrew/bin/codex", "/usr/local/bin/codex", "/usr/bin/codex"}) {
        paths.emplace_back(path);
    }
    for (fs::path& path : paths) path = system(search, path.c_str());
    return paths;
}

std::vector<fs::path> installedPaths(const CodexSearch& search) {
    const fs::path& home = search.homeDirectory;
    std::vector<fs::path> paths;
    appendNpmPaths(system(search, "/usr/lib"), paths);
    appendNpmPaths(system(search, "/usr/local/lib"), paths);
    appendNpmPaths(home / ".npm-global/lib", paths);
    appendNpmPaths(home / ".local/lib", paths);
    for (const fs::path& version : versionsIn(home / ".nvm/versions/node")) {
        appendNpmPaths(version / "lib", paths);
    }
    const fs::path volta = home / ".volta/tools/image";
    appendNpmPaths(volta / "packages/@openai/codex/lib", paths);
    for (const fs::path& version : versionsIn(volta / "node")) {
        appendNpmPaths(version / "lib", paths);
    }
    appendHomebrewPaths(system(search, "/home/linuxbrew/.linuxbrew"), paths);
    appendHomebrewPaths(system(search, "/opt/homebrew"), paths);
    appendHomebrewPaths(home / ".linuxbrew", paths);
    paths.push_back(home / ".local/bin/codex");
    return paths;
}

std::vector<LocalFileRoot> allowedRoots(const CodexSearch& search) {
    std::vector<LocalFileRoot> roots;
    for (const char* path : {"/Applications", "/opt/homebrew", "/usr/local", "/usr/bin", "/usr/lib",
                             "/home/linuxbrew/.linuxbrew"}) {
        roots.push_back({.path = system(search, path), .checksRootForSymlink = false});
    }
    for (const char* directory :
         {"Applications", ".npm-global", ".local", ".nvm", ".volta", ".linuxbrew"}) {
        roots.push_back({.path = search.homeDirectory / directory, .checksRootForSymlink = true});
    }
    return roots;
}

}  // namespace

std::vector<fs::path> standardCodexExecutablePaths() {
    return {
        "/Applications/ChatGPT.app/Contents/Resources/codex-cli/bin/codex",
        "/Applications/ChatGPT.app/Contents/Resources/codex-cli/CodexCLI.app/Contents/MacOS/codex",
        "/Applications/Codex.app/Contents/Resources/codex-cli/bin/codex",
        "/Applications/Codex.app/Contents/Resources/codex-cli/CodexCLI.app/Contents/MacOS/codex",
        "/Applications/Codex.app/Contents/Resources/codex",
        "/Applications/ChatGPT.app/Contents/Resources/codex"};
}

std::optional<fs::path> firstAllowedCodexExecutablePath(
    const std::vector<fs::path>& paths, const std::function<bool(const fs::path&)>& isExecutable,
    const std::function<bool(const fs::path&)>& isAllowed) {
    const auto found = std::ranges::find_if(
        paths, [&](const fs::path& path) { return isExecutable(path) && isAllowed(path); });
    if (found == paths.end()) return std::nullopt;
    return *found;
}

bool codexExecutableAccessIsAllowed(const fs::path& path, const CodexSearch& search) {
    return localFileAccessIsAllowed(path, allowedRoots(search));
}

std::optional<fs::path> resolveCodexExecutablePath(const CodexSearch& search) {
    if (const auto& chosen = search.chosenProgram) {
        return chosen->is_absolute() && isExecutableFile(*chosen) ? chosen : std::nullopt;
    }
    const auto isAllowed = [&](const fs::path& path) {
        return codexExecutableAccessIsAllowed(path, search);
    };
    if (auto found =
            firstAllowedCodexExecutablePath(fixedPaths(search), isExecutableFile, isAllowed)) {
        return found;
    }
    return firstAllowedCodexExecutablePath(installedPaths(search), isExecutableFile, isAllowed);
}

std::vector<fs::path> codexExecutablePaths(const CodexSearch& search) {
    std::vector<fs::path> found;
    for (const auto& paths : {fixedPaths(search), installedPaths(search)}) {
        for (const fs::path& path : paths) {
            if (!isExecutableFile(path) || !codexExecutableAccessIsAllowed(path, search)) continue;
            if (std::ranges::find(found, path) == found.end()) found.push_back(path);
        }
    }
    return found;
}

}  // namespace vantry::CodexUsageReader
