#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <random>
#include <sys/stat.h>

#include "local/SessionFileIdentity.h"
#include "local/SessionUsageCacheFile.h"
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
    entry.home = "/home/é";
    entry.pendingRecords = {{.tokens = {.inputTokens = 3, .totalTokens = 3}, .isOverdue = true}};
    entry.lines = {.relevant = 9, .unreadable = 2, .disagreeing = 1};
    entry.logSize = 990;
    entry.lastTurnOrigin = 2;
    entry.isCurrent = true;
    return entry;
}

SessionUsageCacheEntry emptyEntry() {
    return {.lineage = SessionUsageLineage{.threadId = "t"}, .isCurrent = true};
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
                          {1, good + "x", false, size},
                          {164'703'072'086'692'426, good, false, amount},
                          {0, "x", true, bytes},
                          {1, "", true, bytes},
                          {2, std::string(1, '\0'), true, bytes},
                          {10, packed, true, bytes},
                          {1, record(1, 1, 2), false, model},
                          {2, good + record(std::nan(""), 1, 0), false, value},
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
    const Entries entries{{"/log \"1\"/é", fullEntry()}, {"/b", emptyEntry()}, {"/a", fullEntry()}};
    const std::string document = documentOf(entries);
    const auto whole = writeJson(
        JsonValue::Object{{"entries", encode(entries, RecordForm::stored)}, {"version", 14}},
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
             {"'version':14", "'version':12", "session usage cache of another version"},
             {"},'version'", ",},'version'", "malformed session usage cache"},
             {"'/a'", "7", "malformed session usage cache"},
             {"'fileSize':1000", "'fileSize':1.5", "malformed session usage cache entry"},
             {payload, "AA==", "invalid compressed session deltas"},
             {"'count':1,", "'count':1000001,", "session delta cache exceeds limit"},
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
        return SessionUsageCacheEntry{.lastAccessedAt = noon - daysAgo * day,
                                      .lineage = SessionUsageLineage{.threadId = "t"},
                                      .isCurrent = true};
    };
    const auto kept = [&](const Entries& entries, const Paths& active, std::size_t bytes = 9'999) {
        const auto pruned =
            prunedSessionUsageCache({.entries = entries,
                                     .activePaths = active,
                                     .now = noon,
                                     .entryLimit = 9,
                                     .byteLimit = static_cast<std::int64_t>(bytes)});
        test.expect(pruned.error.empty() &&
                        readSessionUsageDiskCache(pruned.document).entries == pruned.entries,
                    "the document holds what is kept");
        std::string names;
        for (const auto& [path, entry] : pruned.entries) {
            names += path;
            test.expect(!active.contains(path) || entry.lastAccessedAt == noon,
                        "active entries are stamped");
        }
        return names;
    };
    const Entries aged{{"a", used(91)}, {"b", used(90)}, {"c", used(400)}, {"d", used(0)}};
    test.expect(kept(aged, {"c"}) == "bcd", "expired ones go, active ones stay");
    const Entries four{{"a", used(3)}, {"b", used(1)}, {"c", used(2)}, {"d", used(2)}};
    const std::size_t two = documentOf({{"a", used(1)}, {"b", used(2)}}).size();
    test.expect(kept(four, {}, two) == "bc" && kept(four, {}, two - 1) == "b",
                "what fits to the byte stays, the most recent first");
}

void checkFile(SelfTest& test) {
    const TemporaryDirectory directory("vantry-session-cache-");
    const fs::path file = sessionUsageCacheURL(directory.path() / "caches" / "Vantry");
    const std::string log = directory.write("log.jsonl", "");
    const auto request = [&](const fs::path& target) {
        return SessionUsageCacheWrite{.file = target, .activePaths = {log}, .now = noon};
    };
    SessionUsageCache cache{.hasChanges = true};
    for (const std::string& path : {log, log + ".other"}) cache.entries[path] = fullEntry();
    cache.entries[log + ".other"].lastAccessedAt = noon - 91 * day;
    writePersistentSessionUsageCache(cache, request(file));
    test.expect(!cache.hasChanges && cache.isDiskMerged && cache.entries.size() == 1 &&
                    cache.entries.contains(log),
                "only active logs stay in memory");

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
    text.replace(text.find(":14}"), 4, ":12}");
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

    test.expect(entry.touching(7, noon).fileIdentifier == 7U &&
                    entry.touching(std::nullopt, noon).fileIdentifier == snapshot.fileIdentifier &&
                    entry.touching(7, noon).lastAccessedAt == noon,
                "a hit stamps the entry");
}

}  // namespace

bool SessionUsageCacheSelfTest::run() {
    return SelfTest::run("session usage cache",
                         {checkDeltas, checkDamagedDeltas, checkTrail, checkDocument, checkPruning,
                          checkFile, checkIdentity});
}

}  // namespace vantry
