#include "session/settings/MachineFacts.h"

#include <algorithm>
#include <filesystem>

#include "io/BoundedProcessRunner.h"
#include "official/CodexExecutable.h"
#include "platform/Application.h"
#include "platform/CodexFolders.h"
#include "platform/Text.h"
#include "platform/UserDirectories.h"

namespace vantry {

namespace fs = std::filesystem;

namespace {

std::string page(const MachineFacts& machine, const char* online, const char* installed) {
    if (machine.website.empty()) return machine.documentsDirectory + installed;
    std::string address = machine.website;
    while (address.ends_with('/')) address.pop_back();
    return address + online;
}

// The last word of what the program says of itself: "codex-cli 0.169.0".
std::string versionOf(const fs::path& program) {
    const auto result = BoundedProcessRunner::run({.executableURL = program,
                                                   .arguments = {"--version"},
                                                   .timeout = 3,
                                                   .maxOutputBytes = 4'096});
    if (result.kind != BoundedProcessResult::Kind::success) return {};
    const std::string text = validUtf8(result.output.standardOutput);
    const std::string_view line = trimmed(std::string_view(text).substr(0, text.find('\n')));
    return std::string(firstCharacters(line.substr(line.rfind(' ') + 1), 40));
}

// A folder that Codex has written to: it holds logs or a state database.
bool isCodexHome(const fs::path& folder) {
    std::error_code error;
    if (fs::is_directory(folder / "sessions", error)) return true;
    fs::directory_iterator entry(folder, error);
    for (int seen = 0; !error && entry != fs::directory_iterator() && seen < 1'000; ++seen) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with("state_") && name.ends_with(".sqlite")) return true;
        entry.increment(error);
    }
    return false;
}

std::vector<FoundCodex> codexHomesIn(const fs::path& home) {
    constexpr int mostEntries = 10'000;
    std::vector<FoundCodex> homes;
    std::error_code error;
    fs::directory_iterator entry(home, error);
    for (int seen = 0; !error && entry != fs::directory_iterator() && seen < mostEntries; ++seen) {
        const std::string name = entry->path().filename().string();
        if (name.starts_with(".codex") && isCodexHome(entry->path())) {
            homes.push_back({.path = validUtf8(entry->path().string())});
        }
        entry.increment(error);
    }
    std::ranges::sort(homes, {}, &FoundCodex::path);
    return homes;
}

}  // namespace

std::string MachineFacts::privacyPolicyURL() const {
    return page(*this, "/privacy/", "/privacy.html");
}

std::string MachineFacts::openSourceLicenseURL() const {
    return page(*this, "/license/", "/license.html");
}

MachineFacts gatherMachineFacts(const Environment& environment) {
    const fs::path home = UserDirectories::current(environment).home;
    MachineFacts facts{.homeDirectory = validUtf8(home.string()),
                       .systemZone = TimeZone::system(environment).identifier(),
                       .environmentPaths = codexPathsOf(environment),
                       .codexHomes = codexHomesIn(home),
                       .version = std::string(application::version),
                       .website = VANTRY_WEBSITE,
                       .documentsDirectory = VANTRY_DOCUMENTS};
    for (const fs::path& program :
         CodexUsageReader::codexExecutablePaths({.homeDirectory = home})) {
        facts.codexPrograms.push_back(
            {.path = validUtf8(program.string()), .version = versionOf(program)});
    }
    return facts;
}

}  // namespace vantry
