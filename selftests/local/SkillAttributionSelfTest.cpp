#include <chrono>
#include <sys/stat.h>

#include "local/analytics/ToolUsages.h"
#include "local/log/SessionLineParser.h"
#include "local/log/SkillLoadPaths.h"
#include "local/skills/SkillUsages.h"
#include "platform/Iso8601.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::SkillAttributionSelfTest {

using namespace CodexUsageReader;

namespace fs = std::filesystem;

namespace {

using Paths = std::vector<std::string>;

const std::string plain = "/tmp/plain/SKILL.md";
const std::string spaced = "/tmp/My Skills/example/SKILL.md";

void checkCommands(SelfTest& test) {
    const std::pair<const char*, Paths> cases[] = {
        {R"(cat /tmp/My\ Skills/example/SKILL.md)", {spaced}},
        {R"(cat '/tmp/My Skills/example/SKILL.md' "/tmp/My Skills/example/SKILL.md" /tmp/plain/SKILL.md.)",
         {spaced, plain}},
        {"cat /tmp/plain/SKILL.md), /tmp/other/SKILL.md;", {plain, "/tmp/other/SKILL.md"}},
        {"cat /tmp/ai[2]/SKILL.md; cat /tmp/plain/SKILL.md | cat '/tmp/My Skills/example/SKILL.md'",
         {"/tmp/ai[2]/SKILL.md", plain, spaced}},
        {R"(read("/tmp/plain/SKILL.md", '/tmp/My Skills/example/SKILL.md'))", {plain, spaced}},
        {R"(await tools.exec_command({cmd: "printf 'ordinary code'", workdir: "/tmp/review"});)",
         {}},
        {R"(await tools.exec_command({cmd: "cat '/tmp/My Skills/example/SKILL.md'"}))", {spaced}},
        {R"(bash -lc "printf \"a b\" >/dev/null && cat /tmp/plain/SKILL.md")", {plain}},
        {R"(run({cmd: "cat /tmp/My\\ Skills/example/SKILL.md"}))", {spaced}},
        {R"(cat /tmp/"plain/SKILL".md `cat ~/a/SKILL.md`)", {plain, "~/a/SKILL.md"}},
        {"a=/tmp/plain/SKILL.md&&b</tmp/x/SKILL.md\n~/a/SKILL.md",
         {plain, "/tmp/x/SKILL.md", "~/a/SKILL.md"}},
        {R"(cat ../plain/SKILL.md plain/SKILL.md ~u/SKILL.md /tmp/SKILL.md.bak /tmp/XSKILL.md)",
         {}},
        {"cat /tmp/plain/skill.md", {}},
        {R"(cat /tmp/a\;b/SKILL.md '/tmp/a\b/SKILL.md' /tmp/c\d/SKILL.md)",
         {"/tmp/a;b/SKILL.md", R"(/tmp/a\b/SKILL.md)", R"(/tmp/c\d/SKILL.md)"}},
        {R"(cat /tmp/plain/SKILL.md "/tmp/open/SKILL.md)", {plain}},
        {R"(cat /tmp/plain/SKILL.md\)", {plain}},
        {"cat\u3000/tmp/技能/SKILL.md\u00A0-", {"/tmp/技能/SKILL.md"}},
        {"", {}}};
    for (const auto& [command, paths] : cases) {
        test.expect(extractSkillPaths(command) == paths, command);
    }
}

/// The loads that a call's payload gives, as a line of a log.
std::vector<SkillLoadEvent> loadsOf(const std::string& members) {
    std::string line = R"({"timestamp":"2026-07-17T00:01:00Z","payload":{"type":"function_call",)" +
                       members + "}}";
    const std::size_t size = line.size();
    line.append(JsonParser::padding, ' ');
    ParsedSessionUsage usage;
    JsonParser parser;
    processSessionLine(std::string_view(line).substr(0, size), usage, parser);
    return usage.skillLoads;
}

Paths pathsOf(const std::string& members) {
    Paths paths;
    for (const SkillLoadEvent& load : loadsOf(members)) paths.push_back(load.path);
    return paths;
}

void checkArguments(SelfTest& test) {
    const std::pair<const char*, Paths> cases[] = {
        {R"("arguments":"{\"cmd\":\"cat '/tmp/My Skills/example/SKILL.md'\"}")", {spaced}},
        {R"("arguments":"{\"command\":[\"bash\",\"-lc\",\"cat /tmp/plain/SKILL.md\"]}")", {plain}},
        {R"("path":"../relative/SKILL.md")", {}},
        {R"("path":[" '~/My Skills/example/SKILL.md;)' ",{"cmd":"cat /tmp/plain/SKILL.md"}])",
         {"~/My Skills/example/SKILL.md", plain}},
        {R"("path":"cat /tmp/plain/SKILL.md")", {}},
        {R"("path":"/tmp/b/SKILL.md","cmd":"cat /tmp/plain/SKILL.md","input":{"output":"/tmp/no/SKILL.md","path":"/tmp/a/SKILL.md"},"command":"cat /tmp/b/SKILL.md")",
         {"/tmp/a/SKILL.md", plain, "/tmp/b/SKILL.md"}},
        {R"("output":"/tmp/plain/SKILL.md","arguments":7,"cmd":null)", {}},
        {R"("cmd":"\"cat /tmp/plain/SKILL.md\"")", {plain}},
        // What the test on the line's bytes must not lose.
        {R"("cmd":"cat /tmp/plain\/SKILL.m\u0064")", {plain}},
        {R"("cmd":"cat /tmp/pl\"ain/S\"K\\IL\u0027L.m'd")", {}},
        {R"("cmd":"cat /tmp/plain/S\"K\"I`L`L.\u0027md\u0027")", {plain}},
        {R"("cmd":"cat /tmp/plain/SKILL.m'd'")", {}},
        {R"("arguments":"{\"cmd\":\"cat /tmp/plain/\\u0053\\\"KILL\\\".md\"}")", {plain}},
        {R"("input":"{\u0022path\":\"\/tmp\/plain\/SKI\u005cu004cL.md\"}")", {plain}}};
    for (const auto& [members, paths] : cases) test.expect(pathsOf(members) == paths, members);

    const std::string load = R"("cmd":"cat /tmp/plain/SKILL.md")";
    const auto named = loadsOf(R"("name":"shell","call_id":" c ",)" + load);
    const SkillLoadEvent expected{
        .path = plain,
        .date = iso8601Date("2026-07-17T00:01:00Z"),
        .toolCallIdentity = SessionToolCallIdentity{"c", "shell", "function_call"}};
    test.expect(named == std::vector{expected}, "a load has the call's date and identity");
    const auto nameless = loadsOf(R"("call_id":"c",)" + load);
    test.expect(nameless.size() == 1 && !nameless[0].toolCallIdentity,
                "a call without a name still loads");
}

// Nothing here may take longer than a few passes, or more stack than there is.
void checkHostileText(SelfTest& test) {
    const auto repeated = [](const std::string& text, std::size_t count) {
        std::string result;
        for (std::size_t i = 0; i < count; ++i) result += text;
        return result;
    };
    for (const char* piece : {"'", "\"'`", "\\", "S'", "/SKILL.md\"'\" ", "\"'SKILL.md'\""}) {
        const std::string text = repeated(piece, 1'048'576);
        test.expect(extractSkillPaths("SKILL.md" + text + "SKILL.md").empty(), piece);
    }
    std::string distinct;
    for (int i = 0; i < 100'000; ++i) distinct += " /" + std::to_string(i) + "/SKILL.md";
    test.expect(extractSkillPaths(distinct).size() == 1'024, "the paths of one call are bounded");

    const auto inLists = [&](std::size_t count) {
        const std::string lists = repeated("[", count) + R"("/a/SKILL.md")";
        return pathsOf(R"("cmd":)" + lists + repeated("]", count)).size();
    };
    test.expect(inLists(50) == 1 && inLists(1'000) == 0, "what lies too deep is not looked at");
}

void checkFigures(SelfTest& test) {
    const std::pair<const char*, std::optional<std::int64_t>> estimates[] = {
        {"", 0},           {" \n\u3000", 0},           {"你好 abc", 3},
        {"中文测试啊", 5}, {"abcdefghijklmnopqrs", 5}, {"abcdefghijklmnopqrst", 6},
        {"한글カ㐀", 4},   {"\U0001F600é", 1},         {"a\xFF", {}},
        {"\xE4\xBD", {}},  {"\xC0\x80", {}},           {"\xED\xA0\x80", {}}};
    for (const auto& [text, tokens] : estimates) {
        test.expect(estimateStaticTokens(text) == tokens, text);
    }

    const TemporaryDirectory home("vantry-skills-");
    const TemporaryDirectory codex("vantry-skills-");
    SkillStaticInfoCache cache;
    const auto bytes = [&](const fs::path& path) {
        return skillStaticInfo({path, {.home = home.path(), .codexHome = codex.path()}}, cache)
            .byteCount;
    };
    const fs::path file = home.write(".codex/skills/a/SKILL.md", "abcd");
    test.expect(bytes("~/.codex/skills/a/SKILL.md") == 4 && bytes(file) == 4, "~ is the home");
    cache.entries.at(file).info.byteCount = 77;
    test.expect(bytes(file) == 77, "an unchanged file is not read again");
    home.write(".codex/skills/a/SKILL.md", "efgh");
    fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(48));
    test.expect(bytes(file) == 4, "one that is older than before is");
    cache.entries.at(file).info.byteCount = 77;
    const auto time = fs::last_write_time(file);
    fs::rename(home.write("new", "ijkl"), file);
    fs::last_write_time(file, time);
    test.expect(bytes(file) == 4, "one that was replaced is");
    fs::rename(file, home.path() / "away");
    test.expect(!bytes(file) && cache.entries.empty(), "a missing file has no figures");
    fs::rename(home.path() / "away", file);
    test.expect(bytes(file) == 4, "and is read when it is back");

    const auto sized = [&](const char* name, const std::string& contents) {
        return bytes(home.write(name, contents));
    };
    test.expect(sized("full/SKILL.md", std::string(1'048'576, 'x')) == 1'048'576, "the limit");
    test.expect(!sized("above/SKILL.md", std::string(1'048'577, 'x')) &&
                    !sized("empty/SKILL.md", "") && !sized("latin/SKILL.md", "\xE9t\xE9"),
                "a file that is too large, empty or no text");
    test.expect(!sized("Documents/a/SKILL.md", "text") &&
                    !bytes(home.path() / "./Documents/a/SKILL.md") &&
                    !bytes(home.path() / "full/../Documents/a/SKILL.md"),
                "a folder of the user's own, in any spelling");
    test.expect(bytes(codex.write("a/SKILL.md", "moved")) == 5, "a Codex that lies elsewhere");
    fs::create_directory_symlink(home.path() / "Documents", home.path() / "link");
    ::mkfifo((home.path() / "SKILL.md").c_str(), 0600);
    test.expect(!bytes(home.path() / "link/a/SKILL.md") && !bytes(home.path() / "SKILL.md") &&
                    !bytes("/etc/hostname") && !bytes("SKILL.md"),
                "a link, a FIFO, and what lies elsewhere");
}

void checkPluginCache(SelfTest& test) {
    const TemporaryDirectory home("vantry-skills-");
    const SkillFolders folders{.home = home.path(), .codexHome = home.path() / ".codex"};
    const fs::path cache = folders.codexHome / "plugins/cache";
    const auto add = [&](const std::string& path) {
        return home.write(".codex/plugins/cache/" + path + "/SKILL.md", "text");
    };
    const auto equivalent = [&](const fs::path& path) {
        return equivalentCachedSkillPath({path, folders}).value_or("none");
    };
    add("openai-curated/github/1.9.0/skills/review");
    const auto newest = add("openai-curated/github/1.10.0/skills/review");
    fs::create_directories(cache / "openai-curated/github/1.11.0/skills/other");
    fs::create_directory_symlink("1.9.0", cache / "openai-curated/github/1.12.0");
    add("openai-curated/other/2.0.0/skills/review");
    const auto flat = add("openai-docs/3/skills/review");
    const auto lost = [&](const char* path) {
        return equivalent(cache / path / "skills/review/SKILL.md");
    };
    test.expect(lost("openai-curated/github/1.0.0") == newest, "the newest version that has it");
    test.expect(lost("openai-docs/1") == flat, "a plugin whose versions lie right below it");
    test.expect(
        equivalent("~/.codex/.tmp/openai-curated/plugins/github/skills/review/SKILL.md") == newest,
        "a plugin outside of the cache");
    for (const char* path : {"openai-curated/gone/1.0.0", "openai-none/github/1.0.0",
                             "mine/github/1", "openai-curated/github/1.9.0"}) {
        test.expect(lost(path) == "none", path);
    }
    SkillStaticInfoCache figures;
    const auto info =
        skillStaticInfo({cache / "openai-docs/1/skills/review/SKILL.md", folders}, figures);
    test.expect(info.byteCount == 4 && figures.entries.contains(flat), "its figures are used");
}

void checkRows(SelfTest& test) {
    const std::pair<const char*, const char*> labels[] = {
        {"/h/.codex/plugins/cache/openai-docs/1/skills/a/SKILL.md", "openai-docs"},
        {"/w/ai-infra/skills/a/SKILL.md", "ai-infra"},
        {"/h/.agents/skills/a/SKILL.md", "agents"},
        {"~/.codex/skills/.system/a/SKILL.md", "system"},
        {"~/.codex/skills/cache/SKILL.md", "personal"},
        {"/moved/skills/.system/a/SKILL.md", "system"},
        {"/h/.cache/a/SKILL.md", "local"}};
    for (const auto& [path, label] : labels) {
        test.expect(skillSourceLabel(path, {"/h", "/moved"}) == label, path);
    }
    test.expect(toolCategory("Exec_Command") == "terminal" && toolCategory("plan_docs") == "docs" &&
                    toolCategory("web_mcp_edit") == "edit" && toolCategory("agent") == "tool",
                "the first category whose words a tool's name has");
    const auto tools = makeToolUsages({{"b", {"b", 2}}, {"c", {"c", 3}}, {"a", {"a", 2}}});
    test.expect(tools.size() == 3 && tools[0].id == "c" && tools[1].name == "a" &&
                    tools[2].callCount == 2 && !tools[0].estimatedTokens,
                "tools by calls, then by name");

    const TemporaryDirectory home("vantry-skills-");
    home.write("x/review/SKILL.md", "中文");
    std::map<std::string, SkillUsageAccumulator> skills;
    const auto load = [&](const char* path, const char* thread, std::optional<Date> at) {
        skills.try_emplace(path, SkillUsageAccumulator{.path = path})
            .first->second.addLoads(thread, 1, at);
    };
    for (const char* path : {"/b/SKILL.md", "/a/SKILL.md"}) load(path, "t", {});
    load("~/x/review/SKILL.md", "t", Date(5));
    load("~/x/review/SKILL.md", "u", Date(4));
    load("~/x/review/SKILL.md", "t", {});
    SkillStaticInfoCache cache;
    const auto rows = makeSkillUsages(skills, {.home = home.path()}, cache);
    const SkillUsage first{.id = "~/x/review/SKILL.md",
                           .name = "review",
                           .path = "~/x/review/SKILL.md",
                           .sourceLabel = "local",
                           .loadCount = 3,
                           .threadCount = 2,
                           .staticTokenEstimate = 2,
                           .staticByteCount = 6,
                           .lastLoadedAt = Date(5)};
    test.expect(rows.size() == 3 && rows[0] == first && rows[1].id == "/a/SKILL.md" &&
                    rows[2].loadCount == 1 && !rows[2].staticByteCount,
                "Skills by loads; one that cannot be read still counts");
}

}  // namespace

bool run() {
    return SelfTest::run("skill attribution", {checkCommands, checkArguments, checkHostileText,
                                               checkFigures, checkPluginCache, checkRows});
}

}  // namespace vantry::SkillAttributionSelfTest
