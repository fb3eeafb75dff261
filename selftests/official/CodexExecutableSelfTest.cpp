
#include "official/CodexExecutable.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::CodexExecutableSelfTest {

namespace fs = std::filesystem;
using namespace CodexUsageReader;

namespace {

constexpr const char* prefix = "vantry-codex-executable-";

#if defined(__aarch64__)
const std::string package = "codex-linux-arm64";
const std::string triple = "aarch64-unknown-linux-musl";
#else
const std::string package = "codex-linux-x64";
const std::string triple = "x86_64-unknown-linux-musl";
#endif

// Below a prepared root: every place in which an install is found, and a folder on the way to it.
struct Place {
    std::string program;
    std::string folder;
};

std::vector<Place> places() {
    const std::string nested = "/node_modules/@openai/codex/node_modules/@openai/" + package +
                               "/vendor/" + triple + "/bin/codex";
    const std::string hoisted =
        "/node_modules/@openai/" + package + "/vendor/" + triple + "/bin/codex";
    const std::string older = "/node_modules/@openai/codex/vendor/" + triple + "/codex/codex";
    const std::string node = "home/user/.nvm/versions/node/v22.1.0";
    const std::string volta = "home/user/.volta/tools/image";
    return {{"Applications/Codex.app/Contents/Resources/codex", "Applications/Codex.app"},
            {"opt/homebrew/bin/codex", "opt/homebrew/bin"},
            {"usr/local/bin/codex", "usr/local/bin"},
            {"usr/bin/codex", ""},
            {"usr/lib" + nested, "usr/lib/node_modules/@openai"},
            {"usr/lib" + hoisted, "usr/lib/node_modules"},
            {"usr/local/lib" + older, "usr/local/lib/node_modules/@openai/codex"},
            {"home/user/.npm-global/lib" + nested, "home/user/.npm-global"},
            {"home/user/.local/lib" + hoisted, "home/user/.local/lib"},
            {node + "/lib" + nested, node},
            {volta + "/packages/@openai/codex/lib" + nested, volta},
            {volta + "/node/22.1.0/lib" + hoisted, "home/user/.volta"},
            {"home/linuxbrew/.linuxbrew/Cellar/codex/0.9.0/bin/codex",
             "home/linuxbrew/.linuxbrew/Cellar/codex/0.9.0"},
            {"opt/homebrew/Caskroom/codex/0.9.0/codex-" + triple, "opt/homebrew/Caskroom"},
            {"home/user/.linuxbrew/Cellar/codex/0.9.0/bin/codex", "home/user/.linuxbrew/Cellar"},
            {"home/user/.local/bin/codex", "home/user/.local/bin"}};
}

std::optional<fs::path> resolve(const TemporaryDirectory& root) {
    return resolveCodexExecutablePath(
        {.homeDirectory = root.path() / "home/user", .systemRoot = root.path()});
}

// Puts a symbolic link in the way: the folder is moved aside and linked to.
void linkInstead(const TemporaryDirectory& root, const std::string& folder) {
    const fs::path aside = root.path() / "aside";
    fs::rename(root.path() / folder, aside);
    fs::create_symlink(aside, root.path() / folder);
}

void checkPlaces(SelfTest& test) {
    for (const Place& place : places()) {
        const TemporaryDirectory root(prefix);
        const fs::path program = root.writeProgram(place.program, "#!/bin/sh\n");
        test.expect(resolve(root) == program, "found at " + place.program);
        if (!place.folder.empty()) {
            linkInstead(root, place.folder);
            test.expect(!resolve(root), "refused behind a link at " + place.folder);
        }
        const TemporaryDirectory linked(prefix);
        const fs::path target = linked.writeProgram("real/codex", "#!/bin/sh\n");
        fs::create_directories((linked.path() / place.program).parent_path());
        fs::create_symlink(target, linked.path() / place.program);
        test.expect(!resolve(linked), "refused as a link at " + place.program);
    }
}

void checkPreference(SelfTest& test) {
    const TemporaryDirectory root(prefix);
    const std::string tail =
        "/lib/node_modules/@openai/" + package + "/vendor/" + triple + "/bin/codex";
    root.writeProgram("home/user/.nvm/versions/node/v9.11.2" + tail, "");
    const auto newest = root.writeProgram("home/user/.nvm/versions/node/v20.10.0" + tail, "");
    root.writeProgram("home/user/.nvm/versions/node/v20.9.1" + tail, "");
    test.expect(resolve(root) == newest, "versions are compared by number");
    const auto global = root.writeProgram(
        "usr/lib/node_modules/@openai/" + package + "/vendor/" + triple + "/bin/codex", "");
    test.expect(resolve(root) == global, "the system's root comes before the home's");
    const auto fixed = root.writeProgram("usr/local/bin/codex", "");
    test.expect(resolve(root) == fixed, "the fixed paths come first");
    fs::permissions(fixed, fs::perms::owner_read);
    fs::create_directories(root.path() / "usr/bin/codex");
    test.expect(resolve(root) == global,
                "what cannot be executed is passed over, and so is a folder");
    root.writeProgram("home/user/Downloads/codex", "");
    test.expect(!codexExecutableAccessIsAllowed(
                    root.path() / "home/user/Downloads/codex",
                    {.homeDirectory = root.path() / "home/user", .systemRoot = root.path()}),
                "a program in a downloads folder is never run");
}

void checkChoice(SelfTest& test) {
    const TemporaryDirectory root(prefix);
    root.writeProgram("usr/bin/codex", "");
    const fs::path mine = root.writeProgram("Downloads/codex", "");
    fs::create_symlink(mine, root.path() / "link");
    root.write("text", "");
    const std::pair<fs::path, bool> choices[] = {
        {mine, true},         {root.path() / "link", true},  {fs::relative(mine), false},
        {root.path(), false}, {root.path() / "text", false}, {root.path() / "none", false}};
    for (const auto& [choice, isRun] : choices) {
        const auto found =
            resolveCodexExecutablePath({.systemRoot = root.path(), .chosenProgram = choice});
        test.expect(isRun ? found == choice : !found, "chosen: " + choice.string());
    }
}

}  // namespace

bool run() {
    return SelfTest::run("codex executable", {checkPlaces, checkPreference, checkChoice});
}

}  // namespace vantry::CodexExecutableSelfTest
