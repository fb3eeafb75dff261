#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <sys/stat.h>

#include "local/SessionFileIdentity.h"
#include "local/SessionUsageCacheFile.h"
#include "local/SessionUsageValidationPlanner.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

namespace {

namespace fs = std::filesystem;
using namespace CodexUsageReader;
using Entries = SessionUsageCacheEntries;
using Paths = std::set<std::string>;

const Date noon(1'772'366'400);  // 2026-03-01T12:00:00Z
constexpr double day = 86'400;

SessionUsageDelta delta(double second, std::int64_t input, std::optional<std::string> model) {
    return {.date = noon + second,
            .tokens = {.inputTokens = input, .outputTokens = 7, .totalTokens = input + 7},
            .model = std::move(model)};
}

/// A record of the payload.
std::string record(double date, std::int64_t output, std::uint64_t model) {
    std::string bytes(56, '\0');
    std::memcpy(bytes.data(), &date, 8);
    std::memcpy(bytes.data() + 24, &output, 8);
    std::memcpy(bytes.data() + 48, &model, 8);
    return bytes;
}

/// An entry with something in every field.
SessionUsageCacheEntry fullEntry() {
    SessionUsageCacheEntry entry{.fileSize = 1000,
                                 .modificationDate = noon + 0.25,
                                 .modificationTimeNanoseconds = 1'772'366'400'250'000'001,
                                 .hasTokenEvents = true,
                                 .tokenEventCount = 3};
    entry.deltaStorage = SessionUsageDeltaStorage::encoding({delta(0, 5, "gpt-5")});
    entry.toolCalls = {{"shell", 2}, {"quote\"d", 1}};
    entry.toolCallProofs.add({.callID = "c1", .name = "shell", .kind = "function_call"});
    entry.skillLoads = {{.path = "/s/SKILL.md", .date = noon}, {.path = "/é"}};
    entry.parsedByteOffset = 990;
    entry.lastTokenUsage = TokenBreakdown{.inputTokens = 5, .totalTokens = 5};
    entry.lastModel = "gpt-5";
    entry.fileIdentifier = (std::uint64_t{1} << 63) + 5;
    entry.lastAccessedAt = noon;
    entry.lineage = SessionUsageLineage{
        .threadId = "t", .parentThreadId = "p", .spawnedAt = noon, .historyBase = {{"p", 12}}};
    entry.firstReading = {.total = {.inputTokens = 9, .totalTokens = 9}, .last = TokenBreakdown{}};
    entry.readingTrail = SessionReadingTrailStorage::encoding(
        {.ordinals = {4}, .corrections = {{0, {1, 0, 0, 0, 1}}}});
    return entry;
}

std::string documentOf(const Entries& entries) {
    const Paths none;
    return prunedSessionUsageCache(
               {.entries = entries, .activePaths = none, .now = noon, .entryLimit = entries.size()})
        .document;
}

void checkDeltas(SelfTest& test) {
    std::vector<SessionUsageDelta> alike(200);
    std::vector<SessionUsageDelta> random;
    std::mt19937_64 generator(7);
    const auto number = [&] { return static_cast<std::int64_t>(generator() >> 1); };
    for (int i = 0; i < 200; ++i) {
        alike[static_cast<std::size_t>(i)] = delta(i, 100, i % 2 == 0 ? "b" : "a");
    }
    alike[1].model.reset();
    random.push_back({.date = noon + 0.123456,
                      .tokens = {number(), number(), number(), number(), number()},
                      .model = "m"});
    using Case = std::tuple<std::vector<SessionUsageDelta>, bool, std::vector<std::string>>;
    for (const auto& [deltas, isCompressed, models] :
         {Case{alike, true, {"a", "b"}}, Case{random, false, {"m"}}, Case{}}) {
        const auto storage = SessionUsageDeltaStorage::encoding(deltas);
        test.expect(storage.isCompressed == isCompressed && storage.models == models &&
                        storage.count == static_cast<std::int64_t>(deltas.size()) &&
                        storage.decoded().deltas == deltas && storage.damage().empty(),
                    "deltas come back as they were");
    }
    const SessionUsageDeltaStorage fixture{1, false, record(2, 3, 1), {"m"}};
    const SessionUsageDelta meant{Date::fromReference(2), {.outputTokens = 3}, "m"};
    test.expect(fixture.decoded().deltas == std::vector{meant}, "a record has its layout");
}

void checkDamagedDeltas(SelfTest& test) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const std::string good = record(1, 1, 0);
    const std::string packed =
        SessionUsageDeltaStorage::encoding({9, delta(0, 1, std::nullopt)}).payload;
    const char* const size = "invalid raw session delta size";
    const char* const amount = "invalid session delta count";
    const char* const bytes = "invalid compressed session deltas";
    const char* const model = "truncated session delta payload";
    const char* const value = "invalid session delta value";
    using Case = std::tuple<std::int64_t, std::string, bool, std::string>;
    const Case cases[] = {{1, good, false, ""},
                          {1, record(1, 1, 1), false, ""},
                          {9, packed, true, ""},
                          {1, good.substr(1), false, size},
                          {1, good + "x", false, size},
                          {1, good + good, false, size},
                          {-1, good, false, amount},
                          {164'703'072'086'692'426, good, false, amount},
                          {0, "x", true, bytes},
                          {1, "", true, bytes},
                          {2, std::string(1, '\0'), true, bytes},
                          {8, packed, true, bytes},
                          {10, packed, true, bytes},
                          {1, record(1, 1, 2), false, model},
                          {1, record(1, 1, ~0ULL), false, model},
                          {2, good + record(std::nan(""), 1, 0), false, value},
                          {2, good + record(infinity, 1, 0), false, value},
                          {2, good + record(1, -1, 0), false, value}};
    for (const auto& [count, payload, isCompressed, error] : cases) {
        const SessionUsageDeltaStorage storage{count, isCompressed, payload, {"m"}};
        const auto decoding = storage.decoded();
        test.expect(decoding.error == error && storage.damage() == error &&
                        decoding.deltas.has_value() == error.empty(),
                    "a test and a decoding agree: " + error);
    }
}
void checkTrail(SelfTest& test) {
    SessionReadingTrail longTrail;
    for (std::int64_t i = 0; i < 500; ++i) longTrail.ordinals.push_back(i * 20);
    const SessionReadingTrail shortTrail{
        .ordinals = {0, 0, 300, std::numeric_limits<std::int64_t>::max()},
        .corrections = {{-1, {}}, {2, {.totalTokens = 4}}, {2, {}}, {3, {}}}};
    for (const SessionReadingTrail& trail : {longTrail, shortTrail, SessionReadingTrail{}}) {
        const auto count = static_cast<std::int64_t>(trail.ordinals.size());
        const auto storage = SessionReadingTrailStorage::encoding(trail);
        test.expect(storage.decoded(count) == trail && storage.isTrail(count) &&
                        storage.isCompressed == (count == 500) && !storage.decoded(count + 1) &&
                        !storage.decoded(count - 1),
                    "a trail comes back as it was, with exactly one line number a delta");
    }
    for (const SessionReadingTrail& trail : std::vector<SessionReadingTrail>{
             {.ordinals = {3, 2}},
             {.ordinals = {-1, 2}},
             {.ordinals = {1, 2}, .corrections = {{-2, {}}}},
             {.ordinals = {1, 2}, .corrections = {{2, {}}}},
             {.ordinals = {1, 2}, .corrections = {{1, {}}, {0, {}}}},
             {.ordinals = {1, 2}, .corrections = {{1, {.cachedInputTokens = -1}}}}}) {
        test.expect(!SessionReadingTrailStorage::encoding(trail).isTrail(2),
                    "a trail that cannot be is damaged");
    }
    test.expect(!SessionReadingTrailStorage{"\x80", 1}.isTrail(1) &&
                    !SessionReadingTrailStorage{"\1", 2}.isTrail(1) &&
                    !SessionReadingTrailStorage{"x", 90, true}.isTrail(9),
                "cut bytes are no trail");
}

void checkDocument(SelfTest& test) {
    const Entries entries{{"/log \"1\"/é", fullEntry()}, {"/b", {}}, {"/a", fullEntry()}};
    const std::string document = documentOf(entries);
    const auto whole = writeJson(
        JsonValue::Object{{"entries", encode(entries, RecordForm::stored)}, {"version", 13}},
        JsonLayout::compact);
    test.expect(document == whole, "the pieces are the document that a writer of the whole makes");
    test.expect(readSessionUsageDiskCache(document).entries == entries, "every field comes back");
    test.expect(
        readSessionUsageDiskCache(" { \"version\" : 13 ,\n\"x\":[\"}\\\"\"],\"entries\": { } } ")
                .entries == Entries{},
        "white space and unknown members do not matter");

    const std::string one = documentOf({{"/a", fullEntry()}});
    bool isRefused = true;
    for (std::size_t size = 0; size < one.size(); ++size) {
        isRefused = isRefused && !readSessionUsageDiskCache(one.substr(0, size)).entries;
    }
    test.expect(isRefused, "a cut document is no document");

    // Single quotes stand for double ones.
    const auto quoted = [](std::string text) {
        std::ranges::replace(text, '\'', '"');
        return text;
    };
    const std::string payload = base64Text(fullEntry().deltaStorage.payload);
    for (const auto& [from, to, error] : std::vector<std::array<std::string, 3>>{
             {"'version':13", "'version':12", "session usage cache of another version"},
             {"},'version':13", "}", "session usage cache of another version"},
             {"},'version'", ",},'version'", "malformed session usage cache"},
             {"'/a'", "7", "malformed session usage cache"},
             {"'fileSize':1000,", "", "malformed session usage cache entry"},
             {"'fileSize':1000", "'fileSize':1.5", "malformed session usage cache entry"},
             {payload, "AA=", "malformed session usage cache entry"},
             {payload, "AA==", "invalid compressed session deltas"},
             {"'count':1,", "'count':1000001,", "session delta cache exceeds limit"},
             {"'models':['gpt-5']", "'models':['a/b']", "invalid session model dictionary"},
             {"'models':['gpt-5']", "'models':[]", "truncated session delta payload"},
             {"'lastModel':'gpt-5'", "'lastModel':' '", "invalid session model context"},
             {"'deltaIndex':0", "'deltaIndex':1", "invalid session reading trail"},
             {"'inputTokens':9", "'inputTokens':-9", "invalid session token reading"}}) {
        std::string text = one;
        const std::size_t place = text.find(quoted(from));
        if (!test.expect(place != std::string::npos, from)) continue;
        text.replace(place, from.size(), quoted(to));
        const auto reading = readSessionUsageDiskCache(text);
        test.expect(!reading.entries && reading.error == error, error);
    }
}

void checkPruning(SelfTest& test) {
    const auto used = [](double daysAgo) {
        return SessionUsageCacheEntry{.lastAccessedAt = noon - daysAgo * day};
    };
    SessionUsageCacheEntry big = used(0);
    big.lastModel = std::string(2000, 'm');
    SessionUsageCacheEntry unreadable = used(0);
    unreadable.deltaStorage.count = SessionUsageDeltaStorage::maxStoredCount + 1;
    SessionUsageCacheEntry notText = used(0);
    notText.lastModel = "\xFF";
    struct Limits {
        Paths active = {};
        std::size_t entries = 9;
        std::size_t bytes = 1 << 20;
    };
    const auto kept = [&](const Entries& entries, const Limits& limits) {
        const auto pruned =
            prunedSessionUsageCache({.entries = entries,
                                     .activePaths = limits.active,
                                     .now = noon,
                                     .entryLimit = limits.entries,
                                     .byteLimit = static_cast<std::int64_t>(limits.bytes)});
        test.expect(pruned.error.empty() &&
                        readSessionUsageDiskCache(pruned.document).entries == pruned.entries,
                    "the document holds what is kept");
        std::string names;
        for (const auto& [path, entry] : pruned.entries) {
            names += path;
            test.expect(!limits.active.contains(path) || entry.lastAccessedAt == noon,
                        "active entries are stamped");
        }
        return names;
    };
    const Entries aged{{"a", used(91)}, {"b", used(90)}, {"c", used(400)}, {"d", {}}};
    test.expect(kept(aged, {.active = {"c"}}) == "bcd",
                "expired ones go, active ones and those without a date stay");
    const Entries four{{"a", used(3)}, {"b", used(1)}, {"c", used(2)}, {"d", used(2)}};
    test.expect(kept(four, {.entries = 2}) == "bc",
                "the most recent stay, and of equals the first");
    const std::size_t two = documentOf({{"a", used(1)}, {"b", used(2)}}).size();
    test.expect(kept(four, {.bytes = two}) == "bc" && kept(four, {.bytes = two - 1}) == "b",
                "what fits to the byte stays");
    test.expect(kept({{"a", used(2)}, {"b", big}, {"c", used(1)}}, {.bytes = two}) == "ac",
                "a big one makes way for smaller, older ones");
    test.expect(kept({{"a", unreadable}, {"b", notText}, {"c", used(1)}}, {}) == "c",
                "what cannot be read back is not written");
    test.expect(kept(four, {.bytes = 10}).empty(), "a frame that does not fit holds nothing");
}

void checkFile(SelfTest& test) {
    const TemporaryDirectory directory("vantry-session-cache-");
    const fs::path file = sessionUsageCacheURL(directory.path() / "caches" / "Vantry");
    const std::string log = directory.write("log.jsonl", "");
    const std::string denied = directory.write("denied.jsonl", "");
    const auto request = [&](const fs::path& target) {
        return SessionUsageCacheWrite{.file = target,
                                      .activePaths = {log, denied, log + ".gone"},
                                      .isAllowed = [&](const auto& path) { return path != denied; },
                                      .now = noon};
    };
    SessionUsageCache cache{.hasChanges = true};
    for (const std::string& path : {log, denied, log + ".gone"}) cache.entries[path] = fullEntry();
    cache.entries[denied].lastAccessedAt = noon - 1;
    writePersistentSessionUsageCache(cache, request(file));
    test.expect(!cache.hasChanges && cache.isDiskMerged && cache.entries.size() == 1 &&
                    cache.entries.contains(log),
                "only active logs that exist and may be touched stay");

    SessionUsageCache next;
    next.entries["/other"].fileSize = 1;
    next.entries[log].fileSize = 2;
    persistentSessionUsageCache(next, file);
    const bool isJoined = next.entries.size() == 2 && next.entries[log].fileSize == 2;
    next.entries.clear();
    test.expect(isJoined && persistentSessionUsageCache(next, file).empty(),
                "memory stands before the file, which is read once");

    const auto loaded = [](const fs::path& path) {
        SessionUsageCache fresh;
        return persistentSessionUsageCache(fresh, path).size();
    };
    std::string text = documentOf({{log, fullEntry()}});
    test.expect(loaded(file) == 1 && loaded(directory.write("copy", text)) == 1, "it is read anew");
    const fs::path link = directory.path() / "link";
    fs::create_symlink(file, link);
    fs::resize_file(directory.write("long", text), sessionUsageCacheByteLimit + 1);
    text.replace(text.find(":13}"), 4, ":12}");
    test.expect(loaded(link) + loaded(directory.path() / "long") +
                        loaded(directory.write("old", text)) + loaded(directory.path()) ==
                    0,
                "links, oversized files, other versions and directories count as absent");

    // A file where the folder should be, then a folder where the file should be.
    const fs::path blocked = directory.path() / "copy" / "cache.json";
    const fs::path folder = directory.path() / "folder";
    fs::create_directories(folder / "full");
    for (const fs::path& target : {blocked, folder}) {
        SessionUsageCache kept{.isDiskMerged = true, .hasChanges = true};
        kept.entries[log] = fullEntry();
        writePersistentSessionUsageCache(kept, request(target));
        test.expect(kept.hasChanges && kept.entries.contains(log) && loaded(file) == 1 &&
                        loaded(directory.path() / "copy") == 1,
                    "a failed write changes no file and is not forgotten");
    }
}

void checkOffset(SelfTest& test) {
    constexpr std::int64_t window = 262'144;
    const TemporaryDirectory directory("vantry-session-cache-");
    const std::string line(100, 'x');
    const std::string wide(window, 'x');
    using Case = std::pair<std::string, std::optional<std::int64_t>>;
    const Case cases[] = {{"", 0},           {"{}", 2},
                          {"{}\n", 3},       {"{}\n{'a", 3},
                          {"{}\n[7]", 6},    {"{'a", 0},
                          {wide, 0},         {"\n" + wide.substr(1), 1},
                          {"\n" + wide, {}}, {line + wide + "\n{", window + 101}};
    for (const auto& [contents, offset] : cases) {
        const fs::path file = directory.write("log.jsonl", contents);
        test.expect(parsedSessionByteOffset(file, *SessionFileSnapshot::of(file)) == offset,
                    "the offset of " + std::to_string(contents.size()) + " bytes");
    }
    const fs::path grown = directory.write("grown.jsonl", "{}\n{\"a");
    const auto snapshot = *SessionFileSnapshot::of(grown);
    std::ofstream(grown, std::ios::app) << "\":1}\n";
    const auto before = parsedSessionByteOffset(grown, snapshot);
    fs::resize_file(grown, 4);
    test.expect(before == 3 && !parsedSessionByteOffset(grown, snapshot),
                "what was added later is not looked at, and a shorter file has no offset");
}

void checkIdentity(SelfTest& test) {
    const TemporaryDirectory directory("vantry-session-cache-");
    const fs::path file = directory.write("log.jsonl", "0123456789");
    const auto touch = [&](long nanosecond) {
        const timespec times[] = {{.tv_sec = 1'772'366'400, .tv_nsec = nanosecond},
                                  {.tv_sec = 1'772'366'400, .tv_nsec = nanosecond}};
        ::utimensat(AT_FDCWD, file.c_str(), times, 0);
    };
    touch(5);
    const auto snapshot = *SessionFileSnapshot::of(file);
    SessionUsageCacheEntry entry;
    snapshot.describe(entry);
    // Whether it is the same, and whether it begins the same.
    const auto answers = [&](bool isSame, bool beginsTheSame) {
        const auto now = SessionFileSnapshot::of(file);
        return (now && sameSessionFileIdentity(entry, *now)) == isSame &&
               sessionFileMatchesSnapshot(file, snapshot) == isSame &&
               sessionFileContainsSnapshotPrefix(file, snapshot) == beginsTheSame;
    };
    test.expect(answers(true, true), "an untouched file is the same");
    touch(6);
    test.expect(answers(false, true), "a touch by a nanosecond is seen");
    std::ofstream(file, std::ios::app) << "more";
    touch(5);
    test.expect(answers(false, true), "a grown file has the same beginning");
    fs::resize_file(file, 9);
    touch(5);
    test.expect(answers(false, false), "a cut file has not");
    fs::rename(directory.write("other.jsonl", "9876543210"), file);
    touch(5);
    test.expect(answers(false, false), "a file in its place is another one");
    SessionUsageCacheEntry anyFile = entry;
    anyFile.fileIdentifier.reset();
    test.expect(sameSessionFileIdentity(anyFile, *SessionFileSnapshot::of(file)),
                "an entry without a file number takes any");

    const fs::path target = directory.write("target.jsonl", "0123456789");
    const auto isRefused = [&](auto make) {
        fs::remove(file);
        make();
        return !SessionFileSnapshot::of(file) && answers(false, false) &&
               !parsedSessionByteOffset(file, snapshot);
    };
    test.expect(isRefused([&] { fs::create_symlink(target, file); }) &&
                    isRefused([&] { ::mkfifo(file.c_str(), 0600); }) &&
                    isRefused([&] { fs::create_directory(file); }) && isRefused([] {}),
                "a link, a FIFO, a directory and nothing are no log");
    test.expect(entry.touching(7, noon).fileIdentifier == 7U &&
                    entry.touching(std::nullopt, noon).fileIdentifier == snapshot.fileIdentifier &&
                    entry.touching(7, noon).lastAccessedAt == noon,
                "a hit stamps the entry");
}

std::string joined(const std::vector<std::string>& paths) {
    std::string text;
    for (const std::string& path : paths) text += path;
    return text;
}

void checkPlanner(SelfTest& test) {
    using namespace SessionUsageValidationPlanner;
    std::vector<SessionUsageSource> sources{
        {.threadId = "a", .rolloutPath = "/a", .updatedAt = noon - 100},
        {.threadId = "b", .rolloutPath = "/b", .updatedAt = noon - 100},
        {.threadId = "c", .rolloutPath = "/c"}};
    Entries cached;
    std::optional<SessionUsageSourceRevisions> previous{std::in_place};
    const auto revise = [&] {
        for (const SessionUsageSource& source : sources) {
            cached[source.rolloutPath];
            previous->insert_or_assign(source.rolloutPath, SessionUsageSourceRevision::of(source));
        }
    };
    revise();
    Question question{.sources = sources,
                      .previousRevisions = previous,
                      .lastSweepAt = noon,
                      .cachedEntries = cached,
                      .now = noon + 500};
    const auto asks = [&](const char* paths, const char* what) {
        test.expect(joined(validationPaths(question)) == paths, what);
    };
    asks("", "what did not change is not looked at");
    question.requiredValidationPaths = {"/b", "/x"};
    asks("/b", "what is required is looked at");
    question.lastSweepAt = noon - 98;
    asks("/a/b", "so is what was updated two seconds before the sweep");
    question.lastSweepAt = noon - 97.9;
    asks("/b", "and not what was updated before that");
    question.requiredValidationPaths.clear();
    sources[0].updatedAt = noon - 99.999;
    sources[2].allowsMissingParentLineage = true;
    asks("/a/c", "a millisecond or a flag makes another revision");
    revise();
    cached.erase("/b");
    previous->erase("/c");
    asks("/b/c", "a log without an entry or a revision is looked at");
    question.forceFullValidation = true;
    asks("/a/b/c", "a full validation looks at everything");
    question.forceFullValidation = false;
    previous.reset();
    asks("/a/b/c", "a first read looks at everything");
    std::map<std::string, SessionUsageLineage> lineage{
        {"/c", {.threadId = "c", .parentThreadId = "b"}},
        {"/b", {.threadId = "b", .parentThreadId = "gone", .historyBase = {{"a", 3}}}}};
    const auto planned = [&](std::vector<std::string> from) {
        const auto plan = includingAncestorPaths(
            {.paths = std::move(from), .sources = sources, .lineageByPath = lineage});
        return plan ? joined(*plan) : "none";
    };
    test.expect(planned({"/c"}) == "/c/b/a" && planned({"/a"}) == "/a" &&
                    planned({"/b", "/c", "/x"}) == "/b/c/x/a",
                "ancestors are looked at with their children");
    lineage["/c"].historyBase = {{"a", 1}};
    test.expect(planned({"/c"}) != "none", "two ways to one ancestor are no loop");
    lineage["/a"] = {.threadId = "a", .parentThreadId = "b"};
    test.expect(planned({"/c"}) == "none" && planned({"/a"}) == "none" && planned({}).empty(),
                "a thread that is its own ancestor spoils the plan");
}

}  // namespace

bool SessionUsageCacheSelfTest::run() {
    return SelfTest::run("session usage cache",
                         {checkDeltas, checkDamagedDeltas, checkTrail, checkDocument, checkPruning,
                          checkFile, checkOffset, checkIdentity, checkPlanner});
}

}  // namespace vantry
