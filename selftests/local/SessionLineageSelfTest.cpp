#include <list>

#include "local/SessionLineage.h"
#include "local/SessionUsageDeduplicator.h"
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

struct Session {
    SessionUsageSource source;
    SessionUsageCacheEntry entry;
    LoadedSessionUsage loaded{source, entry};
};

/// A made-up batch of threads.
struct Batch {
    Session& add(const std::string& id, const std::vector<Event>& events,
                 std::optional<std::string> parent = {},
                 std::optional<SessionHistoryBase> base = {}) {
        ParsedSessionUsage usage;
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
        Session& session = sessions.emplace_back();
        session.source.threadId = id;
        session.entry.deltaStorage = SessionUsageDeltaStorage::encoding(usage.deltas);
        session.entry.readingTrail = SessionReadingTrailStorage::encoding(usage.trail);
        session.entry.firstReading = usage.firstReading;
        session.entry.lineage = SessionUsageLineage{.threadId = id,
                                                    .parentThreadId = std::move(parent),
                                                    .spawnedAt = spawn,
                                                    .historyBase = std::move(base)};
        byId[id] = &session.loaded;
        return session;
    }

    std::optional<EffectiveSessionUsage> effective(const std::string& id) {
        SessionDeltaMemo memo(std::nullopt);
        return effectiveSessionUsage(*byId.at(id), byId, memo);
    }

    /// The own tokens of a thread; -1 if it cannot be checked, -2 if it is refused.
    std::int64_t own(const std::string& id) {
        const auto usage = effective(id);
        if (!usage) return -2;
        if (usage->unresolvedParent) return -1;
        std::int64_t sum = 0;
        for (const SessionUsageDelta& delta : usage->deltas) sum += delta.tokens.totalTokens;
        return sum;
    }

    std::list<Session> sessions;
    SessionsByThreadId byId;
};

void checkCopies(SelfTest& test) {
    Batch batch;
    batch.add("root", {{10, 10}, {30, 20}, {60, 30}});
    batch.add("child", {{10, 10, 0}, {30, 20, 1}, {60, 30, 0.5}, {100, 40, 5}}, "root");
    test.expect(batch.own("child") == 40, "what was copied counts in the parent alone");
    batch.add("late", {{10, 10, 1.001}, {30, 20, 2}}, "root");
    test.expect(batch.own("late") == 30, "启动窗口外等额新用量丢失模型归因");
    batch.add("summed", {{30, 30, 0.2}, {60, 30, 0.3}, {65, 5, 9}}, "root");
    test.expect(batch.own("summed") == 5, "a copy may sum up the parent's first events");
    batch.add("grandchild", {{10, 10, 0}, {30, 20, 0}, {37, 7, 50}}, "child");
    test.expect(batch.own("grandchild") == 7, "a copy may reach back beyond the parent");
    batch.add("independent", {{11, 11, 0}}, "root");
    test.expect(batch.own("independent") == 11, "an independent fork keeps everything");
    batch.add("lost", {{5, 5}}, "nobody");
    batch.add("heir", {{5, 5}}, "lost");
    test.expect(batch.own("lost") == -1 && batch.own("heir") == -2,
                "a missing parent is not guessed");
    batch.add("cycle-a", {{5, 5}}, "cycle-b");
    batch.add("cycle-b", {{5, 5}}, "cycle-a");
    test.expect(batch.own("cycle-a") == -2, "a circle of parents ends");
    auto& subagent = batch.add("subagent", {{5, 5}});
    subagent.source.isSubagent = true;
    test.expect(batch.own("subagent") == -1, "a subagent names its parent");
    subagent.source.allowsMissingParentLineage = true;
    test.expect(batch.own("subagent") == 5, "a guardian need not");
    test.expect(rootConversationSource(*batch.byId["grandchild"], batch.byId).threadId == "root" &&
                    rootConversationSource(*batch.byId["lost"], batch.byId).threadId == "lost",
                "a conversation has a root");
}

// Logs that copy nothing and go on counting. The root stands at 10, 30, 60 after lines 5, 9, 15.
void checkInheritance(SelfTest& test) {
    using Case = std::tuple<const char*, std::vector<Event>, std::int64_t, std::int64_t>;
    const Case cases[] = {
        {"the fork's own answers", {{100, 40, 5, 20}, {105, 5, 9, 30}}, 18, 45},
        {"a fork that leaves out the newest turn", {{37, 7, 5, 20}}, 12, 7},
        {"and costs what that turn cost", {{60, 30, 5, 20}}, 12, 30},
        {"a first reading that repeats the parent's", {{60, 30, 5, 20}, {64, 4, 6, 30}}, 18, 4},
        {"a repetition of the only reading", {{10, 10, 5, 20}, {11, 1, 6, 21}}, 6, 1},
        {"a counter of its own", {{8, 8, 5, 20}, {9, 1, 6, 21}}, 18, 9},
        {"a base that is an older reading", {{32, 2, 5, 20}}, 18, 2},
        {"a base that nobody shows", {{50, 5, 5, 20}}, 18, -1},
        {"a base behind the point of leaving", {{70, 10, 5, 20}}, 12, -1},
        {"no reading at all", {}, 18, 0},
        {"a first reading of nothing", {{0, 0, 5, 20}, {100, 40, 6, 21}}, 18, 40},
    };
    for (const auto& [what, events, end, own] : cases) {
        Batch batch;
        batch.add("root",
                  {{10, 10, -100, 5}, {30, 20, -90, 9}, {60, 30, -80, 15}, {61, 1, 900, 40}});
        batch.add("fork", events, "root", SessionHistoryBase{"root", end});
        test.expect(batch.own("fork") == own, what);
        test.expect(batch.own("root") == 61, "the parent keeps its own");
    }
    Batch batch;
    batch.add("root", {{10, 10, -100, 5}, {30, 20, -90, 9}});
    batch.add("fork", {{33, 3, -5, 20}}, "root", SessionHistoryBase{"root", 12});
    batch.add("second", {{35, 2, 9, 30}}, "fork", SessionHistoryBase{"fork", 25});
    batch.add("empty", {}, "root", SessionHistoryBase{"root", 12});
    batch.add("third", {{34, 4, 9, 30}}, "empty", SessionHistoryBase{"empty", 13});
    batch.add("stranger", {{34, 4, 9, 30}}, "root", SessionHistoryBase{"nobody", 13});
    batch.add("unreadable", {{34, 4, 9, 30}}, "root", SessionHistoryBase{});
    test.expect(batch.own("second") == 2, "a fork of a fork");
    test.expect(batch.own("third") == 4, "a fork of a fork that never answered");
    test.expect(batch.own("stranger") == -1 && batch.own("unreadable") == -1,
                "a base that is not there is refused");
    // A parent that starts anew after the fork keeps the reading that the fork went on from.
    batch.add("restarting", {{10, 10, -100, 5}, {60, 50, -90, 15}, {0, 0, 50, 40}, {7, 7, 60, 42}});
    batch.add("unmoved", {{100, 40, 5, 30}}, "restarting", SessionHistoryBase{"restarting", 18});
    test.expect(batch.own("unmoved") == 40 && batch.own("restarting") == 67,
                "a parent that starts anew");
    // A copy of a log that inherited holds what that log inherited as well.
    batch.add("heir", {{10, 10, 0.1}, {30, 20, 0.2}, {33, 3, 0.3}, {40, 7, 90}}, "fork");
    test.expect(batch.own("heir") == 7, "a copy of a fork that copied nothing");
    auto& unsaid = batch.add("unsaid", {{33, 3, 5, 20}}, "root", SessionHistoryBase{"root", 12});
    unsaid.entry.firstReading->last.reset();
    test.expect(batch.own("unsaid") == -1,
                "an event that does not say what it cost proves nothing");
}

void checkTools(SelfTest& test) {
    Batch batch;
    const SessionToolCallIdentity shared{"c1", "shell", "function_call"};
    const SessionToolCallIdentity renamed{"c1", "other", "function_call"};
    batch.add("root", {}).entry.toolCallProofs.add(shared);
    auto& child = batch.add("child", {}, "root").entry;
    child.toolCalls = {{"shell", 1}, {"other", 2}};
    child.toolCallProofs.add(shared);
    child.toolCallProofs.add(renamed);
    child.skillLoads = {{.path = "a", .toolCallIdentity = shared},
                        {.path = "b", .toolCallIdentity = renamed},
                        {.path = "c"}};
    const auto usage = batch.effective("child");
    test.expect(usage->toolCalls == std::map<std::string, std::int64_t>{{"other", 2}} &&
                    usage->skillLoads.size() == 2 && usage->skillLoads[0].path == "b",
                "a copied call is taken off, by its whole identity");
    const auto releases = SessionUsageAncestorReleasePlan::releases(
        {"root", "child", "alone"}, {{"child", {"root"}}, {"root", {"child"}}});
    test.expect(releases.at(1).size() == 2 && releases.at(2) == std::vector<std::string>{"alone"},
                "a parent is kept as long as a child needs it");
}

void checkHeaders(SelfTest& test) {
    const TemporaryDirectory directory("vantry-session-lineage-");
    const auto lineageOf = [&](const std::string& lines) {
        const auto log = directory.write("log.jsonl", lines);
        return readSessionUsageLineage({.log = log, .expectedThreadId = "me"});
    };
    const auto header = [](const std::string& payload) {
        return R"({"timestamp":"2027-01-15T08:00:00.5Z","type":"session_meta","payload":{"id":"me")" +
               payload + "}}\n";
    };
    const auto spawned = lineageOf(
        "{\"type\":\"session_meta\",\"payload\":{\"id\":\"other\"}}\nno json session_meta\n" +
        header(
            R"(,"parent_thread_id":"p","source":{"subagent":{"thread_spawn":{"parent_thread_id":"s"}}})"));
    test.expect(spawned && spawned->parentThreadId == "s" && spawned->spawnedAt == spawn + 0.5 &&
                    !spawned->historyBase,
                "the thread's own header, and the spawning parent first");
    test.expect(lineageOf(header(R"(,"forked_from_id":"me")"))->parentThreadId == std::nullopt,
                "nobody is their own parent");
    const auto fork = lineageOf(header(
        R"(,"forked_from_id":"p","history_base":{"thread_id":"p","end_ordinal_exclusive":37,"end_byte_offset":1})"));
    test.expect(fork->parentThreadId == "p" && fork->historyBase == SessionHistoryBase{"p", 37},
                "a fork that inherits");
    test.expect(lineageOf(header(R"(,"history_base":{"thread_id":7})"))->historyBase ==
                    SessionHistoryBase{},
                "a base that cannot be read is still a base");
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
