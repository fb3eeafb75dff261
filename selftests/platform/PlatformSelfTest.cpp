#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <sys/file.h>

#include "platform/AtomicFile.h"
#include "platform/CodexFolders.h"
#include "platform/FileDescriptor.h"
#include "platform/Iso8601.h"
#include "platform/JsonReader.h"
#include "platform/RecordFields.h"
#include "platform/Text.h"
#include "platform/UserDefaults.h"
#include "platform/UserDirectories.h"
#include "platform/WorkQueue.h"
#include "records/LocalUsage.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"

namespace vantry::PlatformSelfTest {

namespace fs = std::filesystem;

namespace {

void checkJsonReading(SelfTest& test) {
    const auto document = JsonDocument::parse(
        R"({"n":null,"b":true,"i":7,"f":7.0,"g":7.5,"t":"7","big":9223372036854775808,)"
        R"("wide":[-123456789012345678901234567890,1e-20,"12345678901234567890\"123456789012345678901"],)"
        R"("s":"\u4f60","out":[-1e999,9223372036854775807,-9223372036854775808,1e-400]})");
    if (!test.expect(document.has_value(), "a number of any size costs only itself")) return;
    const JsonView root = document->root();
    const auto kind = [&](const char* key) { return root[key].kind(); };
    test.expect(kind("n") == JsonKind::null && kind("none") == JsonKind::missing &&
                    kind("b") == JsonKind::boolean && kind("i") == JsonKind::integer &&
                    kind("f") == JsonKind::fraction && kind("t") == JsonKind::text &&
                    kind("big") == JsonKind::fraction && kind("wide") == JsonKind::array,
                "kinds are told apart");
    test.expect(int64Value(root["i"]) == 7 && int64Value(root["f"]) == 7 &&
                    int64Value(root["t"]) == 7 && !int64Value(root["g"]) &&
                    !int64Value(root["b"]) && !int64Value(root["n"]) && !int64Value(root["big"]),
                "the tolerant integer");
    test.expect(
        root["s"].text() == "你" && root["wide"].size() == 3 && root["n"]["deeper"].isMissing(),
        "texts are unescaped, and what is no object has no members");
    using Case = std::tuple<const char*, std::optional<std::int64_t>, std::optional<double>>;
    for (const auto& [text, integer, fraction] :
         {Case{"+12", 12, 12}, Case{"-9223372036854775808", INT64_MIN, -9223372036854775808.0},
          Case{"9223372036854775808", {}, 9223372036854775808.0}, Case{"1.5", {}, 1.5},
          Case{"", {}, {}}, Case{" 1", {}, {}}, Case{"+", {}, {}}, Case{"+-1", {}, {}},
          Case{"++1", {}, {}}, Case{"0x10", {}, {}}, Case{"inf", {}, {}}, Case{"nan", {}, {}}}) {
        const auto one = JsonDocument::parse(std::string(1, '"') + text + '"');
        test.expect(int64Value(one->root()) == integer && doubleValue(one->root()) == fraction,
                    std::string("a number as text: ") + text);
    }
    for (const char* bad : {"", "{", "{}x", "\"\\u00zz\"", "1e5e5", "[1,]", "nul"}) {
        test.expect(!JsonDocument::parse(bad), "no document: " + std::string(bad));
    }
    test.expect(!JsonDocument::parse(std::string(100'000, '[')), "nesting is limited");
    constexpr std::string_view bad =
        "[\"a\xff\u00e9\",\"\\ud83d\",\"\\uD83D\\uD83D\\uDe00x\",\"\\udc00\\\\ud83d\",1e999]";
    for (const bool isShort : {false, true}) {
        JsonParser parser;
        const auto list = isShort ? parser.parseShortTexts(bad, 100) : parser.parse(bad);
        std::string texts;
        list.value_or(JsonView()).forEachElement([&](JsonView value) {
            texts.append(value.text().value_or("-")) += ',';
            return true;
        });
        test.expect(texts == "a\uFFFD\u00e9,\uFFFD,\uFFFD\U0001F600x,\uFFFD\\ud83d,-,",
                    "a bad text costs only itself: " + texts);
    }
}

void checkJsonWriting(SelfTest& test) {
    const JsonValue value = JsonValue::Object{
        {"b", JsonValue::Array{1, 2.5, true, nullptr, std::nan("")}}, {"a", "ü\n"}};
    test.expect(
        writeJson(value, JsonLayout::compact) == R"({"a":"ü\n","b":[1,2.5,true,null,null]})",
        "keys are sorted, and what is no number is null");
    test.expect(!writeJson(JsonValue("\xff"), JsonLayout::compact), "text that is not UTF-8 fails");
}

void checkRecords(SelfTest& test) {
    const SkillUsage skill{
        .id = "s", .path = "/p", .loadCount = 3, .lastLoadedAt = Date(978'307'201.5)};
    const auto text = writeJson(encode(skill, RecordForm::stored), JsonLayout::compact);
    test.expect(
        text ==
            R"({"id":"s","lastLoadedAt":1.5,"loadCount":3,"name":"","path":"/p","sourceLabel":"","threadCount":0})",
        "the stored form leaves out what is absent");
    SkillUsage back;
    test.expect(decode(JsonDocument::parse(*text)->root(), back) && back == skill,
                "a record survives its stored form");
    for (const char* damaged :
         {R"({"id":"s"})", R"([])",
          R"({"id":"s","loadCount":"3","name":"","path":"","sourceLabel":"","threadCount":0})"}) {
        test.expect(!decode(JsonDocument::parse(damaged)->root(), back), damaged);
    }
    const JsonValue shown = encode(skill, RecordForm::shown);
    test.expect(shown.find("path") == nullptr && *shown.find("staticByteCount") == JsonValue() &&
                    *shown.find("lastLoadedAt") == JsonValue("2001-01-01T00:00:01Z"),
                "the shown form has nulls, readable dates, and not every field");
    test.expect(iso8601Text(Date(951'782'399.9)) == "2000-02-28T23:59:59Z" &&
                    iso8601Text(Date(-0.5)) == "1969-12-31T23:59:59Z" &&
                    !iso8601Text(Date(1e300)) && !iso8601Text(Date(std::nan(""))),
                "dates as text");
}

void checkFiles(SelfTest& test) {
    const TemporaryDirectory directory("vantry-platform-");
    const fs::path file = directory.path() / "file";
    test.expect(!replaceFileAtomically(file, "one") && !replaceFileAtomically(file, "two") &&
                    fs::file_size(file) == 3 &&
                    std::distance(fs::directory_iterator(directory.path()), {}) == 1,
                "a replaced file leaves nothing beside it");
    test.expect(fs::status(file).permissions() == fs::perms(0600), "files are private");
    const fs::path dead = directory.write("file.replacing-Dead00", "half");
    const fs::path living = directory.write("file.replacing-Living", "half");
    const FileDescriptor writer(::open(living.c_str(), O_RDONLY | O_CLOEXEC));
    test.expect(::flock(writer.number(), LOCK_EX | LOCK_NB) == 0 &&
                    !replaceFileAtomically(file, "two") && !fs::exists(dead) && fs::remove(living),
                "what a killed writer left is removed, and nothing of a living one");
    std::atomic<int> failures = 0;
    WorkQueue queue(2);
    TaskGroup writers(queue);
    for (int i = 0; i < 200; ++i) {
        writers.submit([&] { failures += replaceFileAtomically(file, "two") ? 1 : 0; });
    }
    writers.wait();
    test.expect(failures == 0, "nor do two living ones take each other's");
    fs::create_directory(directory.path() / "folder");
    test.expect(!!replaceFileAtomically(directory.path() / "folder", "x") &&
                    std::distance(fs::directory_iterator(directory.path()), {}) == 2,
                "a failed replacement leaves nothing beside the target either");
}

void checkPreferences(SelfTest& test) {
    const TemporaryDirectory directory("vantry-platform-");
    const fs::path file = directory.path() / "config" / "domain.json";
    const auto another = [&] { return UserDefaults(file.parent_path(), "domain"); };
    UserDefaults defaults = another();
    std::string log;
    auto observation = defaults.observe([&](const std::set<std::string>& keys) {
        for (const std::string& key : keys) log += key;
        log += " ";
    });
    test.expect(defaults.remove("a") && !fs::exists(file.parent_path()),
                "to remove nothing writes nothing");
    UserDefaults copy = defaults;
    test.expect(!defaults.string("a") && copy.setStrings({{"a", "1"}, {"b", "2"}}) &&
                    defaults.setString("a", "1") && defaults.flush() &&
                    another().string("b") == "2",
                "preferences are kept");
    directory.write("config/domain.json", R"({"a":"1","b":"2","c":3,"d":[4]})");
    test.expect(!defaults.string("c") &&
                    defaults.change({.set = {{"b", "3"}}, .remove = {"a", "b", "c"}}) &&
                    !defaults.setString("e", "\xFF") && defaults.flush() && !defaults.string("a") &&
                    defaults.string("b") == "3" &&
                    JsonDocument::parse(wholeFile(file))->root()["d"].size() == 1,
                "a change sets and removes, values of other kinds stay, and what is no text fails");
    observation.reset();
    directory.write("config/domain.json", "damaged");
    test.expect(
        !defaults.string("b") && defaults.setString("b", "4") && defaults.flush() &&
            defaults.string("b") == "4" && log == "ab abc ",
        "a damaged file is empty, and observers hear of others until their end, saw " + log);

    FileDescriptor lock = lockBeside(file);
    const auto begin = std::chrono::steady_clock::now();
    defaults.setString("a", "5");
    const auto join = [](const auto& stored, const std::string& own) { return own + *stored; };
    copy.change({.set = {{"a", "6"}, {"b", "5"}}, .merge = {{"b", join}}});
    test.expect(defaults.string("a") == "6" && defaults.string("b") == "5" &&
                    another().string("b") == "4" && !defaults.flush(std::chrono::milliseconds(1)) &&
                    std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(500),
                "a change waits for no lock, and is read back before it is on the disk");
    lock.close();
    test.expect(defaults.flush(std::chrono::seconds(10)) && another().string("a") == "6" &&
                    another().string("b") == "54",
                "then the last value is written, joined with what stands there");
    another().setString("b", "7");
    test.expect(another().string("b") == "7", "what is queued is written before the end");
}

void checkDirectories(SelfTest& test) {
    const auto plain = UserDirectories::current(
        environmentOf({{"HOME", "/h"}, {"XDG_CACHE_HOME", "/c"}, {"XDG_STATE_HOME", "relative"}}));
    test.expect(plain.home == "/h" && plain.cache == "/c" && plain.state == "/h/.local/state" &&
                    plain.config == "/h/.config" && plain.data == "/h/.local/share",
                "variables count when they are absolute");
    const auto overridden = UserDirectories::current(
        environmentOf({{"HOME", "/h"}, {"XDG_CACHE_HOME", "/c"}, {"VANTRY_HOME_OVERRIDE", "/o"}}));
    test.expect(overridden.home == "/o" && overridden.cache == "/o/.cache",
                "with an override the variables are not looked at");
    test.expect(UserDirectories::realHome(environmentOf({{"HOME", "relative"}})).is_absolute(),
                "a home is absolute");
    std::map<std::string, std::string> variables{{"HOME", "/h"}, {"CODEX_HOME", ""}};
    const auto expectFolders = [&](const CodexFolders& current, const CodexFolders& ofUser) {
        test.expect(CodexFolders::current(environmentOf(variables)) == current &&
                        CodexFolders::ofUser(environmentOf(variables)) == ofUser,
                    current.home.native());
    };
    const CodexFolders plainFolders{.home = "/h/.codex", .databases = "/h/.codex"};
    expectFolders(plainFolders, plainFolders);
    variables["CODEX_SQLITE_HOME"] = "/db";
    expectFolders({"/h/.codex", "/db"}, {"/h/.codex", "/db"});
    variables["CODEX_HOME"] = "/c";
    expectFolders({"/c", "/db"}, {"/c", "/db"});
    variables["VANTRY_HOME_OVERRIDE"] = "/o";
    expectFolders({"/o/.codex", "/o/.codex"}, plainFolders);
    test.expect(trimmed(" \t\u3000x y\n\u2028") == "x y" && trimmed(" \n").empty() &&
                    splitOmittingEmpty(",a,,b", ',').size() == 2 &&
                    firstCharacters("你好", 1) == "你" && firstCharacters("ab", 9) == "ab",
                "texts are cut at characters");
}

void checkQueue(SelfTest& test) {
    test.expect(
        saturatingAdd(INT64_MAX, 1) == INT64_MAX && saturatingAdd(INT64_MIN, -1) == INT64_MIN,
        "sums stop at the limits");
}

}  // namespace

bool run() {
    return SelfTest::run("platform", {checkJsonReading, checkJsonWriting, checkRecords, checkFiles,
                                      checkPreferences, checkDirectories, checkQueue});
}

}  // namespace vantry::PlatformSelfTest
