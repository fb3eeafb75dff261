#include <list>

#include "io/RegularFileReader.h"
#include "local/lineage/SessionUsageDeduplicator.h"
#include "local/log/SessionLineage.h"
#include "platform/Iso8601.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::SessionLineageSelfTest {

using namespace CodexUsageReader;

namespace {

const Date spawn(1'800'000'000);

std::string usageOf(std::int64_t total) {
    const std::string count = std::to_string(total);
    return R"({"input_tokens":)" + count +
           R"(,"cached_input_tokens":0,"output_tokens":0,"total_tokens":)" + count + "}";
}

// The moment with its milliseconds.
std::string textOf(Date date) {
    const double whole = std::floor(date.secondsSince1970());
    const auto fraction = std::lround((date.secondsSince1970() - whole) * 1000);
    return iso8601Text(date)->substr(0, 19) + "." + std::to_string(1000 + fraction).substr(1) + "Z";
}

struct Event {
    std::int64_t total;  ///< the counter after it
    std::int64_t last;   ///< what it says of itself
    double at = -100;    ///< seconds after the spawn
    std::int64_t ordinal = 0;
};

/// A made-up batch of logs.
struct Batch {
    SessionUsageCacheEntry& add(const std::string& id, const std::vector<Event>& events,
                                std::optional<std::string> parent = {},
                                std::optional<SessionHistoryBase> base = {}) {
        ParsedSessionUsage usage{.threadId = id};
        JsonParser parser;
        for (const Event& event : events) {
            const std::string line =
                R"({"timestamp":")" + textOf(spawn + event.at) + R"(","ordinal":)" +
                std::to_string(event.ordinal) +
                R"(,"payload":{"type":"token_count","info":{"total_token_usage":)" +
                usageOf(event.total) + R"(,"last_token_usage":)" + usageOf(event.last) + "}}}";
            const std::string padded = line + std::string(JsonParser::padding, ' ');
            processSessionLine(std::string_view(padded).substr(0, line.size()), usage, parser);
        }
        sources.push_back({.threadId = id});
        SessionUsageCacheEntry& entry = entries.emplace_back();
        entry.deltaStorage = SessionUsageDeltaStorage::encoding(usage.deltas);
        entry.readingTrail = SessionReadingTrailStorage::encoding(usage.trail);
        entry.firstReading = usage.firstReading;
        entry.lineage = SessionUsageLineage{.threadId = id,
                                            .parentThreadId = std::move(parent),
                                            .spawnedAt = spawn,
                                            .historyBase = std::move(base)};
        return entry;
    }

    std::vector<LoadedSessionUsage> logs() {
        std::vector<LoadedSessionUsage> logs;
        known.clear();
        auto entry = entries.begin();
        for (const SessionUsageSource& source : sources) {
            known.push_back({.head = formsOf(*entry++).head});
            logs.push_back({.source = source, .known = known.back(), .segmentId = source.threadId});
        }
        return logs;
    }

    EffectiveSessionUsage effective(const std::string& id) {
        const auto all = logs();
        const auto log =
            std::ranges::find(all, id, [](const auto& each) { return each.segmentId; });
        SessionDeltaMemo memo([&](const LoadedSessionUsage& session) {
            const auto place = std::next(entries.begin(), &session - all.data());
            return std::make_shared<const SessionUsageCacheEntry>(*place);
        });
        return effectiveSessionUsage(*log, SessionFamilies(all), memo).value();
    }

    /// The own tokens of a log, and "?" where its parent could not be checked.
    std::string own(const std::string& id) {
        const auto usage = effective(id);
        std::int64_t sum = 0;
        for (const SessionUsageDelta& delta : usage.deltas) sum += delta.tokens.totalTokens;
        return std::to_string(sum) + (usage.isWithoutParent ? "?" : "");
    }

    std::list<SessionUsageSource> sources;
    std::list<SessionUsageCacheEntry> entries;
    std::list<KnownSession> known;
};

void checkCopies(SelfTest& test) {
    Batch batch;
    batch.add("root", {{10, 10}, {30, 20}, {60, 30}});
    batch.add("child", {{10, 10, 0}, {30, 20, 1}, {60, 30, 0.5}, {100, 40, 5}}, "root");
    test.expect(batch.own("child") == "40", "what was copied counts in the parent alone");
    batch.add("late", {{10, 10, 1.001}, {30, 20, 2}}, "root");
    test.expect(batch.own("late") == "30", "启动窗口外等额新用量丢失模型归因");
    batch.add("summed", {{30, 30, 0.2}, {60, 30, 0.3}, {65, 5, 9}}, "root");
    test.expect(batch.own("summed") == "5", "a copy may sum up the parent's first events");
    batch.add("grandchild", {{10, 10, 0}, {30, 20, 0}, {37, 7, 50}}, "child");
    test.expect(batch.own("grandchild") == "7", "a copy may reach back beyond the parent");
    batch.add("independent", {{11, 11, 0}}, "root");
    test.expect(batch.own("independent") == "11", "an independent fork keeps everything");
    batch.add("lost", {{5, 5, -50}, {7, 2, 1.5}}, "nobody");
    batch.add("heir", {{5, 5, 0.5}, {9, 4, 8}}, "lost");
    test.expect(batch.own("lost") == "2?" && batch.own("heir") == "4",
                "without its parent a fork counts what was written behind the copying");
    batch.add("subagent", {{5, 5, 0.5, 7}, {8, 3, 0.6, 8}}).lineage->ownFromOrdinal = 8;
    batch.sources.back().isSubagent = true;
    test.expect(batch.own("subagent") == "3?", "or where its header says that its own begins");
    batch.sources.back().allowsMissingParentLineage = true;
    test.expect(batch.own("subagent") == "8", "a guardian names no parent");
    const auto logs = batch.logs();
    const auto rootOf = [&](std::size_t at) {
        return rootConversationSource(logs[at], SessionFamilies(logs)).threadId;
    };
    test.expect(rootOf(4) == "root" && rootOf(6) == "lost" &&
                    sessionsInParentCycles(logs, SessionFamilies(logs)).empty(),
                "a conversation has a root");
    batch.add("cycle-a", {{5, 5}}, "cycle-b");
    batch.add("cycle-b", {{5, 5}}, "cycle-a");
    batch.add("child-of-cycle", {{5, 5}}, "cycle-a");
    batch.add("own-base", {{5, 5}}, {}, SessionHistoryBase{"own-base", 3});
    const std::set<std::size_t> circles{logs.size(), logs.size() + 1, logs.size() + 3};
    const auto all = batch.logs();
    test.expect(sessionsInParentCycles(all, SessionFamilies(all)) == circles,
                "who is in a circle is found");
}

// Logs that copy nothing and go on counting. The root stands at 10, 30, 60 after lines 5, 9, 15.
void checkInheritance(SelfTest& test) {
    using Case = std::tuple<const char*, std::vector<Event>, std::int64_t, const char*>;
    const Case cases[] = {
        {"the fork's own answers", {{100, 40, 5, 20}, {105, 5, 9, 30}}, 18, "45"},
        {"a fork that leaves out the newest turn", {{37, 7, 5, 20}}, 12, "7"},
        {"and costs what that turn cost", {{60, 30, 5, 20}}, 12, "30"},
        {"a first reading that repeats the parent's", {{60, 30, 5, 20}, {64, 4, 6, 30}}, 18, "4"},
        {"a repetition of the only reading", {{10, 10, 5, 20}, {11, 1, 6, 21}}, 6, "1"},
        {"a counter of its own", {{8, 8, 5, 20}, {9, 1, 6, 21}}, 18, "9"},
        {"a base that is an older reading", {{32, 2, 5, 20}}, 18, "2"},
        {"a base that nobody shows", {{50, 5, 5, 20}}, 18, "5?"},
        {"a base behind the point of leaving", {{70, 10, 5, 20}}, 12, "10?"},
        {"no reading at all", {}, 18, "0"},
        {"a first reading of nothing", {{0, 0, 5, 20}, {100, 40, 6, 21}}, 18, "40"},
    };
    for (const auto& [what, events, end, own] : cases) {
        Batch batch;
        batch.add("root",
                  {{10, 10, -100, 5}, {30, 20, -90, 9}, {60, 30, -80, 15}, {61, 1, 900, 40}});
        batch.add("fork", events, "root", SessionHistoryBase{"root", end});
        test.expect(batch.own("fork") == own, what);
        test.expect(batch.own("root") == "61", "the parent keeps its own");
    }
    Batch batch;
    batch.add("root", {{10, 10, -100, 5}, {30, 20, -90, 9}});
    batch.add("fork", {{33, 3, -5, 20}}, "root", SessionHistoryBase{"root", 12});
    batch.add("second", {{35, 2, 9, 30}}, "fork", SessionHistoryBase{"fork", 25});
    batch.add("empty", {}, "root", SessionHistoryBase{"root", 12});
    batch.add("third", {{34, 4, 9, 30}}, "empty", SessionHistoryBase{"empty", 13});
    batch.add("stranger", {{34, 4, 9, 30}}, "root", SessionHistoryBase{"nobody", 13});
    batch.add("unreadable", {{34, 4, 9, 30}}, "root", SessionHistoryBase{});
    test.expect(batch.own("second") == "2", "a fork of a fork");
    test.expect(batch.own("third") == "4", "a fork of a fork that never answered");
    test.expect(batch.own("stranger") == "4?" && batch.own("unreadable") == "4?",
                "a base that is not there: what the first reading says of itself");
    // A parent that starts anew after the fork keeps the reading that the fork went on from.
    batch.add("restarting", {{10, 10, -100, 5}, {60, 50, -90, 15}, {0, 0, 50, 40}, {7, 7, 60, 42}});
    batch.add("unmoved", {{100, 40, 5, 30}}, "restarting", SessionHistoryBase{"restarting", 18});
    test.expect(batch.own("unmoved") == "40" && batch.own("restarting") == "67",
                "a parent that starts anew");
    // A copy of a log that inherited holds what that log inherited as well.
    batch.add("heir", {{10, 10, 0.1}, {30, 20, 0.2}, {33, 3, 0.3}, {40, 7, 90}}, "fork");
    test.expect(batch.own("heir") == "7", "a copy of a fork that copied nothing");
    auto& unsaid = batch.add("unsaid", {{33, 3, 5, 20}}, "root", SessionHistoryBase{"root", 12});
    unsaid.firstReading->last.reset();
    test.expect(batch.own("unsaid") == "0?",
                "an event that does not say what it cost proves nothing");
}

void checkTools(SelfTest& test) {
    Batch batch;
    const SessionToolCallIdentity shared{"c1", "shell", "function_call"};
    const SessionToolCallIdentity renamed{"c1", "other", "function_call"};
    batch.add("root", {}).toolCallProofs.add(shared);
    auto& child = batch.add("child", {}, "root");
    child.toolCalls = {{"shell", 1}, {"other", 2}};
    child.toolCallProofs.add(shared);
    child.toolCallProofs.add(renamed);
    child.skillLoads = {{.path = "a", .toolCallIdentity = shared},
                        {.path = "b", .toolCallIdentity = renamed},
                        {.path = "c"}};
    const auto usage = batch.effective("child");
    test.expect(usage.toolCalls == std::map<std::string, std::int64_t>{{"other", 2}} &&
                    usage.skillLoads.size() == 2 && usage.skillLoads[0].path == "b",
                "a copied call is taken off, by its whole identity");
}

void checkHeaders(SelfTest& test) {
    const TemporaryDirectory directory("vantry-session-lineage-");
    const auto lineageOf = [&](const std::string& lines) {
        const auto log = RegularFileReader::open({.path = directory.write("log.jsonl", lines)});
        return readSessionUsageLineage(*log, false);
    };
    const auto header = [](const std::string& payload) {
        return R"({"timestamp":"2027-01-15T08:00:00.5Z","type":"session_meta","payload":{"id":"me")" +
               payload + "}}\n";
    };
    const auto spawned = lineageOf(
        "no json at all\n" +
        header(
            R"(,"cwd":"/w","parent_thread_id":"p","source":{"subagent":{"thread_spawn":{"parent_thread_id":"s"}}})") +
        "{\"type\":\"session_meta\",\"payload\":{\"id\":\"other\"}}\n");
    test.expect(spawned && spawned->threadId == "me" && spawned->parentThreadId == "s" &&
                    spawned->spawnedAt == spawn + 0.5 && !spawned->historyBase &&
                    spawned->isSubagent == true && spawned->cwd == "/w",
                "the first header, and the spawning parent first");
    test.expect(lineageOf(header(R"(,"forked_from_id":"me")"))->parentThreadId == std::nullopt,
                "nobody is their own parent");
    const auto fork = lineageOf(header(
        R"(,"forked_from_id":"p","history_base":{"thread_id":"p","end_ordinal_exclusive":37,"end_byte_offset":1})"));
    test.expect(fork->parentThreadId == "p" && fork->historyBase == SessionHistoryBase{"p", 37},
                "a fork that inherits");
    test.expect(lineageOf(header(R"(,"history_base":{"thread_id":7})"))->historyBase ==
                    SessionHistoryBase{},
                "a base that cannot be read is still a base");
    test.expect(!lineageOf("{\"type\":\"session_meta\n" + header("")),
                "a torn header is not replaced by the one that was copied");
    test.expect(!lineageOf("{\"type\":\"session_meta\"}\n") &&
                    !lineageOf(header("").substr(0, 60)) &&
                    !lineageOf(std::string(2'100'000, ' ') + "\n" + header("")),
                "no header, an unfinished one, or one too far down");
}

}  // namespace

bool run() {
    return SelfTest::run("session lineage",
                         {checkCopies, checkInheritance, checkTools, checkHeaders});
}

}  // namespace vantry::SessionLineageSelfTest
