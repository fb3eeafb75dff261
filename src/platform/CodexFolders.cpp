#include "platform/CodexFolders.h"

#include "platform/UserDirectories.h"

namespace vantry {

CodexFolders CodexFolders::below(const std::filesystem::path& userHome) {
    return {.home = userHome / ".codex", .databases = userHome / ".codex"};
}

CodexFolders CodexFolders::current(const Environment& environment) {
    CodexFolders folders = below(UserDirectories::current(environment).home);
    if (!environment("VANTRY_HOME_OVERRIDE").value_or("").empty()) return folders;
    const std::string home = environment("CODEX_HOME").value_or("");
    if (!home.empty()) folders.home = folders.databases = absolutePath(home);
    const std::string databases = environment("CODEX_SQLITE_HOME").value_or("");
    if (!databases.empty()) folders.databases = absolutePath(databases);
    return folders;
}

}  // namespace vantry
