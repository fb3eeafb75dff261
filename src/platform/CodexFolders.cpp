#include "platform/CodexFolders.h"

#include "platform/UserDirectories.h"

namespace vantry {

CodexFolders CodexFolders::below(const std::filesystem::path& userHome) {
    return {.home = userHome / ".codex", .databases = userHome / ".codex"};
}

namespace {

bool isHomeOverridden(const Environment& environment) {
    return !environment("VANTRY_HOME_OVERRIDE").value_or("").empty();
}

// Codex resolves the links of CODEX_HOME, and names its logs by what it finds.
std::filesystem::path resolved(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::path target = std::filesystem::canonical(path, error);
    return error ? absolutePath(path) : target;
}

}  // namespace

CodexFolders CodexFolders::current(const Environment& environment) {
    CodexFolders folders = below(UserDirectories::current(environment).home);
    if (isHomeOverridden(environment)) return folders;
    const std::string home = environment("CODEX_HOME").value_or("");
    if (!home.empty()) folders.home = folders.databases = resolved(home);
    const std::string databases = environment("CODEX_SQLITE_HOME").value_or("");
    if (!databases.empty()) folders.databases = absolutePath(databases);
    return folders;
}

CodexFolders CodexFolders::ofUser(const Environment& environment) {
    return isHomeOverridden(environment) ? below(UserDirectories::realHome(environment))
                                         : current(environment);
}

}  // namespace vantry
