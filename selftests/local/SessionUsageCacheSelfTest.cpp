#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <random>
#include <sys/resource.h>

#include "local/cache/SessionShare.h"
#include "local/cache/SessionUsageCache.h"
#include "local/log/SessionHead.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry {

namespace {

namespace fs = std::filesystem;
using namespace CodexUsageReader;

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
                                 .modificationTimeNanoseconds = 1'772'366'400'250'000'000,
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
    entry.lineage = SessionUsageLineage{
        .threadId = "t", .parentThreadId = "p", .spawnedAt = noon, .historyBase = {{"p", 12}}};
    entry.firstReading = {.total = {.inputTokens = 9, .totalTokens = 9}, .last = TokenBreakdown{}};
    entry.readingTrail = SessionReadingTrailStorage::encoding(
        {.ordinals = {4}, .corrections = {{0, {1, 0, 0, 0, 1}}}});
    entry.pendingRecords = {{.tokens = {.inputTokens = 3, .totalTokens = 3}, .isOverdue = true}};
    entry.lines = {.relevant = 9, .unreadable = 2, .disagreeing = 1};
    entry.logSize = 990;
    entry.lastTurnOrigin = 2;
    entry.prefixProof = "p";
    entry.isCurrent = true;
    return entry;
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

void checkTrail(SelfTest& test) {
    SessionReadingTrail longTrail;
    for (std::int64_t i = 0; i < 600; ++i) longTrail.ordinals.push_back(i * 20);
    const SessionReadingTrail shortTrail{
        .ordinals = {0, 0, 300, std::numeric_limits<std::int64_t>::max()},
        .corrections = {{-1, {}}, {2, {.totalTokens = 4}}, {2, {}}, {3, {}}}};
    for (const SessionReadingTrail& trail : {longTrail, shortTrail, SessionReadingTrail{}}) {
        const auto count = static_cast<std::int64_t>(trail.ordinals.size());
        const auto storage = SessionReadingTrailStorage::encoding(trail);
        test.expect(storage.decoded(count) == trail && storage.isTrail(count) &&
                        storage.isCompressed == (count == 600) && !storage.decoded(count + 1) &&
                        !storage.decoded(count - 1),
                    "a trail comes back as it was, with exactly one line number a delta");
    }
    test.expect(!SessionReadingTrailStorage{"\x80", 1}.isTrail(1) &&
                    !SessionReadingTrailStorage{"\1", 2}.isTrail(1) &&
                    !SessionReadingTrailStorage{"x", 90, true}.isTrail(9),
                "cut bytes are no trail");
}

void checkForms(SelfTest& test) {
    const SessionUsageCacheEntry entry = fullEntry();
    const SessionEntryForms forms = formsOf(entry);
    test.expect(entryOf(forms.head, forms.events) == entry &&
                    recordOfBytes<SessionHead>(recordBytes(forms.head)) == forms.head,
                "every member comes back");
    bool isRefused = true;
    for (std::size_t size = 0; size < forms.events.size(); ++size) {
        isRefused = isRefused && !entryOf(forms.head, forms.events.substr(0, size));
    }
    test.expect(isRefused && !entryOf(forms.head, forms.events + "x"), "cut bytes are no entry");
    SessionUsageCacheEntry touched = entry;
    touched.modificationTimeNanoseconds = 7;
    SessionUsageCacheEntry other = entry;
    other.toolCalls["shell"] = 3;
    test.expect(formsOf(touched).head.contents == forms.head.contents &&
                    formsOf(other).head.contents != forms.head.contents,
                "what a log says has a number of its own, whichever file says it");
}

void checkShares(SelfTest& test) {
    const std::map<std::string, std::int64_t> calls{{"shell", 2}};
    const std::vector<SkillLoadEvent> loads{
        {.path = "b", .date = noon}, {.path = "a"}, {.path = "b", .date = noon + 5}};
    std::vector<SessionUsageDelta> own{delta(0, 5, "m"), delta(899.5, 1, "m"), delta(1, 2, {}),
                                       delta(day, 9, "m"), delta(-day, 4, "m")};
    std::vector<SessionUsageDelta> borrowed{delta(2, 3, "n")};
    borrowed[0].recordThread = "other";
    SessionShare share = makeSessionShare({.own = own,
                                           .borrowed = borrowed,
                                           .toolCalls = calls,
                                           .skillLoads = loads,
                                           .cutoff = noon + 899.25});
    const auto tokens = [](const SessionShareTokens& of) {
        std::string text;
        for (const SessionShareBucket& bucket : of.buckets.list()) {
            text += std::to_string(bucket.visibleTokens) + "/" + std::to_string(bucket.model) + " ";
        }
        return text + std::to_string(of.waiting.size());
    };
    test.expect(tokens(share.own) == "11/1 9/0 12/1 2", "quarters of an hour, by model");
    test.expect(share.lastActiveAt() == noon + 2 && share.own.lastActiveAt == noon + 1 &&
                    share.own.firstActiveAt == noon - day && share.own.lastEventAt == noon - day &&
                    share.nextWaiting() == noon + 899.5 && share.skills.size() == 2 &&
                    share.skills[1].loadCount == 2 && share.skills[1].lastLoadedAt == noon + 5,
                "the first, the latest, the last and the next");
    test.expect(recordOfBytes<SessionShare>(recordBytes(share)) == share, "it comes back");
    share.own.enter(noon + 900);
    test.expect(tokens(share.own) == "11/1 9/0 20/1 1" && share.nextWaiting() == noon + day,
                "what is due counts without the log");
    own[0].tokens = {.inputTokens = INT64_MAX, .totalTokens = INT64_MAX};
    test.expect(makeSessionShare({.own = own,
                                  .borrowed = {},
                                  .toolCalls = calls,
                                  .skillLoads = {},
                                  .cutoff = noon + 900})
                    .own.isSpoilt,
                "a sum beyond 64 bits is none");
}

/// A log as large as memory keeps none.
SessionEntryForms largeForms() {
    SessionEntryForms forms;
    forms.events.resize(13'000'000, 'e');
    forms.head.deltaCount = 1;
    return forms;
}

void checkSaving(SelfTest& test) {
    using Saving = SessionUsageCache::Saving;
    const TemporaryDirectory directory("vantry-session-cache-");
    const SessionUsageCache::Opening opening{
        .file = directory.path() / "store", .formerDirectory = {}, .codexHome = directory.path()};
    const auto limitFiles = [](rlim_t most) {
        const rlimit limit{.rlim_cur = most, .rlim_max = RLIM_INFINITY};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    };
    const auto handler = ::signal(SIGXFSZ, SIG_IGN);
    SessionUsageCache one;
    one.open(opening);
    limitFiles(1'000'000);
    one.setLive(one.takeIn("/a", largeForms()));
    const Saving lost = one.save();
    one.open(opening);
    const bool mustBeRead = one.live.empty();
    one.setLive(one.takeIn("/a", largeForms()));
    const Saving unsaved = one.save();
    limitFiles(RLIM_INFINITY);
    test.expect(lost == Saving::outdated && mustBeRead && unsaved == Saving::unsaved &&
                    one.save() == Saving::done,
                "what a full disk does not take is read again and waits in memory");
    ::signal(SIGXFSZ, handler);
    SessionUsageCache other;
    other.open(opening);
    test.expect(other.live.contains("/a"), "until there is room");
    one.setLive(one.takeIn("/b", largeForms()));
    SessionUsageCache third;
    third.open(opening);
    third.setLive(third.takeIn("/c", {.head = {.deltaCount = 2}, .events = "e"}));
    third.keepGone(third.takeIn("/d", {.head = {.deltaCount = 3}, .events = "d"}));
    test.expect(one.save() == Saving::done && third.save() != Saving::done,
                "the slower of two does not write");
    third.open(opening);
    third.troubles["/f"] = {.trouble = SessionLogTrouble::damaged};
    third.noteTroubleChange();
    test.expect(third.live.size() == 3 && third.save() == Saving::done, "but what both have read");
    other.open(opening);
    test.expect(other.live.size() == 3 && other.live.at("/c").head.deltaCount == 2 &&
                    other.gone.size() == 1 && other.troubles.contains("/f"),
                "and a third one sees it");
}

}  // namespace

bool SessionUsageCacheSelfTest::run() {
    return SelfTest::run("session usage cache",
                         {checkDeltas, checkTrail, checkForms, checkShares, checkSaving});
}

}  // namespace vantry
