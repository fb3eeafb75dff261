
#include "local/index/ProjectNames.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::CodexUsageReader {

namespace {

void checkIndex(SelfTest& test) {
    const CodexProjectNameIndex index(R"({
        "local-projects": {
            "a": {"name": " Local project name ", "rootPaths": [7, "/tmp/project-a"]},
            "b": {"name": "Second \ud83d", "rootPaths": ["/tmp/project-b/", "/tmp/both"]},
            "c": {"name": "  ", "rootPaths": ["/tmp/legacy-project"]},
            "d": {"name": null, "rootPaths": ["/tmp/legacy-project"]},
            "e": {"name": "No roots", "rootPaths": "/tmp/unknown"},
            "f": 7},
        "electron-workspace-root-labels": {
            "/tmp/project-a": "Stale workspace label",
            "/tmp//legacy-project": "Legacy workspace label",
            "/tmp/blank": " \n", "/tmp/number": 7},
        "other": "ignored"})");
    using Case = std::pair<const char*, std::optional<std::string>>;
    for (const auto& [path, name] :
         {Case{"/tmp/project-a", "Local project name"},
          Case{" /tmp//group/../project-a/. ", "Local project name"},
          Case{"/tmp/project-b", "Second \uFFFD"}, Case{"/tmp/both/", "Second \uFFFD"},
          Case{"/tmp/legacy-project", "Legacy workspace label"}, Case{"/tmp/unknown", {}},
          Case{"/tmp/blank", {}}, Case{"/tmp/number", {}}, Case{"../project-a", {}},
          Case{"tmp/project-a", {}}, Case{"", {}}}) {
        test.expect(index.name(path) == name, path);
    }

    const ProjectUsage known{.id = "k", .name = "project-a", .fullPath = "/tmp/x/../project-a"};
    const ProjectUsage other{.id = "o", .name = "kept", .fullPath = "/tmp/unknown", .tokens = 3};
    ProjectUsage renamed = known;
    renamed.name = "Local project name";
    test.expect(applyingCodexProjectNames({other, known}, index) ==
                    std::vector<ProjectUsage>{other, renamed},
                "a project's name is replaced and nothing else");

    for (const char* bad : {"", "[]", "7", "{", R"({"local-projects":[{"name":"a"}]})",
                            R"({"electron-workspace-root-labels":["/tmp/project-a"]})"}) {
        test.expect(!CodexProjectNameIndex(bad).name("/tmp/project-a"), bad);
    }
    test.expect(!CodexProjectNameIndex(std::nullopt).name("/tmp/project-a"), "no file");
}

void checkPaths(SelfTest& test) {
    using Pair = std::pair<const char*, const char*>;
    for (const auto& [path, normalized] :
         {Pair{"/tmp//group/../project-a/.", "/tmp/project-a"},
          Pair{"\n/tmp/project-b/ ", "/tmp/project-b"}, Pair{"/", "/"}, Pair{"/../..//a/./..", "/"},
          Pair{"/a/..b/...", "/a/..b/..."}, Pair{" ../project-a ", "../project-a"},
          Pair{"~/a//b", "~/a//b"}, Pair{"  ", ""}}) {
        test.expect(CodexProjectNameIndex::normalizedPath(path) == normalized, path);
    }
    const std::pair<const char*, const char*> names[] = {
        {"/tmp/project-a", "project-a"}, {"/tmp/b c//", "b c"}, {"d", "d"}, {"/", "/"}, {"", ""}};
    for (const auto& [path, name] : names) test.expect(shortWorkspaceName(path) == name, path);
}

}  // namespace

bool runCodexProjectNameParsingSelfTest() {
    return SelfTest::run("codex project name parsing", {checkIndex, checkPaths});
}

}  // namespace vantry::CodexUsageReader
