#include <cstring>
#include <fmt/format.h>
#include <fstream>
#include <functional>

#include "io/BoundedProcessRunner.h"
#include "local/analytics/LocalUsageReader.h"
#include "local/index/StateDatabase.h"
#include "platform/Base64.h"
#include "platform/Database.h"
#include "platform/Iso8601.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::LocalAnalyticsSelfTest {

using namespace CodexUsageReader;

namespace {

// Half past one in the afternoon in Shanghai; in UTC it is still the morning.
const Date noon = *iso8601Date("2026-09-05T05:30:00Z");
constexpr double hour = 3600;
constexpr double day = 24 * hour;

/// A home whose logs and rows are written by hand.
class Home {
  public:
    Home() {
        sql("CREATE TABLE threads (id TEXT, rollout_path TEXT, created_at INTEGER, updated_at "
            "INTEGER, recency_at INTEGER, source TEXT, thread_source TEXT, cwd TEXT, title TEXT, "
            "name TEXT, model TEXT, archived INTEGER DEFAULT 0, archived_at INTEGER);");
    }

    struct Event {
        double at = 0;  ///< seconds after noon
        std::int64_t total = 0;
    };
    struct Thread {
        std::string id;
        std::string cwd = "/tmp/project-a";
        std::vector<Event> events;
        std::string parent = {};  ///< whose history it copied
        double updatedAt = 0;     ///< of its row, in seconds after noon
    };
    void add(const Thread& thread) {
        std::string lines = fmt::format(
            R"({{"timestamp":"{}","type":"session_meta","payload":{{"id":"{}"{}}}}})"
            "\n",
            text(-30 * day), thread.id,
            thread.parent.empty() ? "" : ",\"forked_from_id\":\"" + thread.parent + '"');
        for (const Event& event : thread.events) lines += tokenLine(event);
        const auto log = directory_.write(logName(thread.id), lines);
        sql(
            fmt::format("INSERT INTO threads (id, rollout_path, updated_at, cwd, name, model) "
                        "VALUES ('{}', '{}', {}, '{}', 'Conversation {}', 'gpt-5.4');",
                        thread.id, log.string(), noon.secondsSince1970() + thread.updatedAt,
                        thread.cwd, thread.id));
    }

    void append(const std::string& id, const Event& event) { appendLine(id, tokenLine(event)); }
    void appendLine(const std::string& id, const std::string& line) {
        std::ofstream(directory_.path() / logName(id), std::ios::app) << line;
    }

    std::filesystem::path database() const { return directory_.path() / ".codex/state_5.sqlite"; }

    LocalUsageRead read(ReaderCaches& caches, Date now = noon) const {
        const RuntimeLoadContext context{
            .now = now,
            .homeDirectory = directory_.path(),
            .cacheDirectory = directory_.path() / "cache",
            .statistics = StatisticsContext(StatisticsTimeZonePreference{}, now,
                                            *TimeZone::named("Asia/Shanghai"))};
        return readLocalUsage({.context = context, .userCodex = context.codex()}, caches);
    }

    /// As another process would.
    LocalUsageRead readAnew(Date now = noon) const {
        ReaderCaches caches;
        return read(caches, now);
    }

    void sql(const std::string& statement) const {
        std::filesystem::create_directories(database().parent_path());
        BoundedProcessRunner::run(
            {.executableURL = firstExistingPath(sqliteProgramCandidates()).value(),
             .arguments = {database().string(), statement},
             .timeout = 10,
             .maxOutputBytes = 65'536});
        // An hour ago, so that nobody thinks of a change within the same tick of a clock.
        std::filesystem::last_write_time(
            database(), std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    }

    TemporaryDirectory& directory() { return directory_; }

  private:
    static std::string logName(const std::string& id) {
        return ".codex/sessions/rollout-" + id + ".jsonl";
    }
    static std::string text(double seconds) { return *iso8601Text(noon + seconds); }
    static std::string tokenLine(const Event& event) {
        return fmt::format(
            R"({{"timestamp":"{}","type":"event_msg","payload":{{"type":"token_count","info":{{"total_token_usage":{{"input_tokens":{},"cached_input_tokens":0,"output_tokens":0,"total_tokens":{}}}}}}}}})"
            "\n",
            text(event.at), event.total, event.total);
    }

    TemporaryDirectory directory_{"vantry-local-analytics-"};
};

bool says(const LocalUsageRead& read, const std::string& message) {
    const auto words = wordsOf(read.messages);
    return std::ranges::find(words, message) != words.end();
}

std::int64_t today(const LocalUsageRead& read) {
    return read.result.local ? read.result.local->todayTokens.value_or(-1) : -2;
}

void fill(Home& home) {
    home.add({.id = "a", .events = {{-9 * day, 100}, {-13 * hour, 150}, {-hour, 350}}});
    home.add({.id = "b", .cwd = "/tmp//group/../project-a/.", .events = {{-2 * hour, 40}}});
    home.add({.id = "c", .cwd = "", .events = {{-20 * hour, 7}}});
}

void checkComplete(SelfTest& test) {
    Home home;
    fill(home);
    home.directory().write(
        ".codex/.codex-global-state.json",
        R"({"local-projects":{"p":{"name":"Project A","rootPaths":["/tmp/project-a"]}}})");
    ReaderCaches caches;
    const LocalUsageRead first = home.read(caches);
    const LocalUsage& local = *first.result.local;
    test.expect(first.result.readStatus == LocalUsageReadStatus::complete &&
                    first.messages.empty() && local.todayTokens == 290 &&
                    local.sevenDayTokens == 297 && local.lifetimeTokens == 397 &&
                    local.threadCount == 3,
                "today begins at midnight of the statistics zone");
    const ProjectBoard& board = *local.projectBoard;
    test.expect(board.allProjects.size() == 2 && board.allProjects[0].name == "Project A" &&
                    board.allProjects[0].tokens == 390 && board.allProjects[0].threadCount == 2 &&
                    board.allProjects[1].name.empty() && board.recentProjects[0].tokens == 290 &&
                    board.recentProjects[0].firstActiveAt == noon - 9 * day &&
                    board.todayProjects->size() == 1,
                "two spellings of a directory are one project");
    test.expect(board.localDailyByProject.at("/tmp/project-a").at("2026-09-04") == 50 &&
                    local.todayConversationTokens()->at("b") == 40 &&
                    local.recentThreads.size() == 3,
                "official days of a project are those of UTC");
    test.expect(home.read(caches).result == first.result &&
                    home.readAnew().result == first.result &&
                    home.readAnew(noon + 60).result.capturedAt == noon,
                "unchanged sources give the same figures with their own capture time");
    home.append("a", {-60, 1350});
    home.append("a", {2 * hour, 1400});
    home.sql("UPDATE threads SET updated_at = updated_at + 1 WHERE id = 'a';");
    const LocalUsageRead early = home.readAnew(noon + 120);
    test.expect(today(early) == 1290 && says(early, "已忽略 1 条时间晚于本次刷新的 token 事件") &&
                    today(home.readAnew(noon + 3 * hour)) == 1340,
                "an event of the future counts as soon as its time has come");
    home.append("a", {12 * hour, 9000});
    test.expect(today(home.readAnew(noon + 13 * hour)) == 7600, "midnight starts a new day");
    test.expect(today(home.readAnew(noon - 1.5 * hour)) == 90, "a clock that was set back");
    home.append("b", {40 * hour, 90});
    const Date evening = noon + 13 * hour;
    home.readAnew(evening);
    const LocalUsageRead later = home.readAnew(evening + 60);
    test.expect(today(later) == 7600 && later.result.capturedAt == evening &&
                    later.result.local->gaps.list.at(0).kind == LocalUsageGapKind::futureEvents,
                "an event of another day is set aside and keeps no result from being kept");
}

void checkForgetting(SelfTest& test) {
    Home home;
    fill(home);
    ReaderCaches caches;
    home.read(caches);
    std::filesystem::remove(home.directory().path() / ".codex/sessions/rollout-b.jsonl");
    const auto before = today(home.read(caches));
    ReaderCaches other;  // of another process
    home.read(other);
    const auto count = other.sessions.forgetGone();
    const bool isSaved = other.sessions.save() == SessionUsageCache::Saving::done;
    test.expect(before == 290 && count == 1 && isSaved && today(home.read(caches)) == 250,
                "what another process forgets does not come back");
}

// What one would compare in two reads of a home, money apart.
std::string figuresOf(const LocalUsageRead& read) {
    const LocalUsage& local = *read.result.local;
    std::string text = fmt::format("{} {} {}\n", *local.todayTokens, *local.lifetimeTokens,
                                   local.detailedUsage->parsedFileCount);
    for (const auto& gap : local.gaps.list)
        text += fmt::format("{} {}\n", rawText(gap.kind), gap.count);
    for (const auto& project : local.projectBoard->allProjects) {
        text += fmt::format("{} {} {}\n", project.id, project.tokens, project.threadCount);
    }
    for (const auto& [id, detail] : local.projectBoard->detailsByProjectID) {
        for (const auto& row : detail.conversations) {
            text += fmt::format("{} {} {}\n", row.id, row.title, row.thirtyDayTokens);
        }
        text += fmt::format("{} {}\n", detail.todayThreadCount, detail.thirtyDayThreadCount);
    }
    for (const auto& thread : local.recentThreads) {
        text += fmt::format("{} {} {} {}\n", thread.id, thread.title, thread.tokens,
                            thread.updatedAt.value_or(noon) - noon);
    }
    return text;
}

// Threads that lay still for days are kept as one sum; whatever becomes of one, the figures are
// those of a first read.
void checkSettledThreads(SelfTest& test) {
    Home home;
    home.add({.id = "old", .events = {{-40 * day, 100}, {-hour, 150}}, .updatedAt = -9 * day});
    home.add({.id = "torn", .events = {{-9 * day, 7}}, .updatedAt = -9 * day});
    home.appendLine("torn", "{\"type\":\"token_count\" and no more\n");
    home.add({.id = "late", .events = {{-5 * day, 10}, {2 * hour, 30}}, .updatedAt = -5 * day});
    home.add({.id = "far", .cwd = "/b", .events = {{-4 * day, 1}}, .updatedAt = -4 * day});
    home.add({.id = "busy", .events = {{-hour, 1'000}}});
    const auto cache = home.directory().path() / "cache";
    const auto aside = home.directory().path() / "aside";
    double later = 0;
    const auto row = [&](const char* change) {
        return [&home, change] { home.sql(std::string("UPDATE threads SET ") + change); };
    };
    const std::pair<const char*, std::function<void()>> steps[] = {
        {"the first read", [] {}},
        {"another thread",
         [&] {
             home.append("busy", {-60, 1'100});
         }},
        {"a title", row("name = 'Other' WHERE id = 'old'")},
        {"a folder", row("cwd = '/b' WHERE id = 'torn'")},
        {"a thread that lay still",
         [&] {
             home.append("far", {-30, 21});
         }},
        {"the time of an event", [&] { later = 3 * hour; }},
        {"another day", [&] { later = 20 * hour; }},
        {"a subagent", row("thread_source = 'subagent' WHERE id = 'old'")},
        {"the last use", row("updated_at = updated_at + 1 WHERE id = 'torn'")}};
    for (const auto& [what, happens] : steps) {
        happens();
        const std::string kept = figuresOf(home.readAnew(noon + later));
        std::filesystem::rename(cache, aside);
        const std::string anew = figuresOf(home.readAnew(noon + later));
        std::filesystem::remove_all(cache);
        std::filesystem::rename(aside, cache);
        test.expect(kept == anew, std::string("figures as of a first read after ") + what);
    }
}

// What is kept of a parent is damaged, and its child has to be counted anew.
void checkDamagedParent(SelfTest& test) {
    for (const bool isGone : {false, true}) {
        Home home;
        home.add({.id = "p", .events = {{-32 * day, 1'000}, {-31 * day, 3'000}}});
        home.add({.id = "c",
                  .events = {{-30 * day, 1'000}, {-30 * day + 0.5, 3'000}, {-hour, 3'050}},
                  .parent = "p"});
        const auto lifetime = [](const LocalUsageRead& read) {
            return read.result.local->lifetimeTokens.value_or(-1);
        };
        const auto gapKinds = [](const LocalUsageRead& read) {
            std::vector<LocalUsageGapKind> kinds;
            for (const auto& gap : read.result.local->gaps.list) kinds.push_back(gap.kind);
            return kinds;
        };
        const std::int64_t before = lifetime(home.readAnew());
        if (isGone) {
            std::filesystem::remove(home.directory().path() / ".codex/sessions/rollout-p.jsonl");
            home.readAnew();
        }
        Database store;
        store.open(home.directory().path() / "cache/session-usage.sqlite",
                   Database::Opening::writable);
        store.run("UPDATE events SET bytes = x'00'");
        store.close();
        home.append("c", {-60, 3'100});
        const LocalUsageRead after = home.readAnew();
        using enum LocalUsageGapKind;
        test.expect(before == 3'050 && today(after) == 100 &&
                        lifetime(after) == (isGone ? 100 : 3'100) &&
                        gapKinds(after) == (isGone ? std::vector{damagedLog, countedWithoutParent}
                                                   : std::vector<LocalUsageGapKind>{}),
                    isGone ? "a parent that is lost is a gap" : "a parent is read again");
        test.expect(home.readAnew().result.local == after.result.local, "and stays so");
    }
}

// What earlier versions knew of a log that is there no more, and of one that was gone already.
void checkTakeover(SelfTest& test) {
    Home home;
    fill(home);
    std::string record(56, '\0');
    const double date = (noon - hour).secondsSinceReference();
    const std::int64_t tokens = 1'000;
    std::memcpy(record.data(), &date, sizeof date);
    for (const std::size_t at : {8U, 40U}) std::memcpy(&record[at], &tokens, sizeof tokens);
    const std::string codex = home.database().parent_path();
    // What earlier versions did not say of an entry is left out for an empty home.
    const auto entry = [&](const std::string& thread, const std::string& ofHome) {
        return (ofHome.empty()
                    ? "{"
                    : R"({"isCounted":true,"isCurrent":true,"home":")" + ofHome + "\",") +
               R"("fileSize":1,"hasTokenEvents":true,"tokenEventCount":1,"deltaStorage":{"count":1,)"
               R"("isCompressed":false,"payload":")" +
               base64Text(record) +
               R"(","models":[]},"toolCalls":{},"toolCallProofs":{},"skillLoads":[],"readingTrail":)"
               R"({"ordinals":"AA==","byteCount":1,"isCompressed":false,"corrections":[]},)"
               R"("lineage":{"threadId":")" +
               thread + R"("}})";
    };
    const auto former = home.directory().write(
        "cache/session-usage-v1.json",
        R"({"entries":{")" + codex + R"(/sessions/rollout-y.jsonl":)" + entry("y", "") +
            R"(,"/other/sessions/rollout-x.jsonl":)" + entry("x", "/other") + R"(},"version":13})");
    home.directory().write("cache/kept-sessions-v1.json",
                           R"({"kept":{"gone":{"z":[{"path":")" + codex +
                               R"(/sessions/rollout-z.jsonl","entry":)" + entry("z", codex) +
                               R"(}]},"troubles":{},"homes":{}},"version":1})");
    const auto store = home.directory().path() / "cache/session-usage.sqlite";
    std::filesystem::create_directory(store);
    test.expect(today(home.readAnew()) == 2'290 && std::filesystem::exists(former),
                "what cannot be kept stays where it was");
    std::filesystem::remove(store);
    for (int round = 0; round < 2; ++round) {
        const LocalUsageRead read = home.readAnew();
        const auto& gaps = read.result.local->gaps.list;
        test.expect(today(read) == 2'290 && gaps.size() == 1 && gaps[0].count == 2 &&
                        gaps[0].kind == LocalUsageGapKind::goneLog,
                    "what earlier versions kept goes on counting");
    }
    const auto cache = home.directory().path() / "cache";
    Database database;
    database.open(store, Database::Opening::writable);
    test.expect(
        !std::filesystem::exists(former) &&
            !std::filesystem::exists(cache / "kept-sessions-v1.json") &&
            database.ask("SELECT count(*) FROM log WHERE home = x'2f6f74686572'").number == 1,
        "and is taken over once, of all homes");
}

// `a` with a later and an earlier row, and a thread of its own each; then what is no index of
// threads.
constexpr const char* otherDatabases = R"(
ATTACH '{0}/sqlite/state_12.sqlite' AS newer;
CREATE TABLE newer.threads AS SELECT id, rollout_path, updated_at + 1 AS updated_at FROM threads
    WHERE id = 'a';
ATTACH '{0}/state_4.sqlite' AS older;
CREATE TABLE older.threads AS SELECT * FROM threads WHERE id <> 'b';
UPDATE older.threads SET cwd = '/stale', updated_at = updated_at - 1;
DELETE FROM threads WHERE id = 'c';
ATTACH '{0}/state_98.sqlite' AS bare;
CREATE TABLE bare.threads (id, updated_at);)";

void checkSeveralDatabases(SelfTest& test) {
    Home home;
    fill(home);
    const auto codex = home.database().parent_path();
    std::filesystem::create_directory(codex / "sqlite");
    home.readAnew();
    home.sql(fmt::format(otherDatabases, codex.string()));
    for (const char* name :
         {"state_99.sqlite", "state_.sqlite", "state_6.sqlite.bak", "state_-7.sqlite"}) {
        home.directory().write(std::string(".codex/") + name, "no database at all");
    }
    std::filesystem::create_symlink("state_5.sqlite", codex / "state_13.sqlite");
    std::filesystem::create_symlink("nothing", codex / "state_14.sqlite");
    std::vector<std::string> names;
    for (const auto& path : stateDatabasePaths(CodexFolders::below(home.directory().path()))) {
        names.push_back(path.lexically_relative(codex).string());
    }
    test.expect(
        names == std::vector<std::string>{"state_99.sqlite", "state_98.sqlite", "state_13.sqlite",
                                          "sqlite/state_12.sqlite", "state_4.sqlite"},
        "every database once, the highest number first");
    const LocalUsageRead read = home.readAnew();
    const auto& local = read.result.local;
    if (!test.expect(local && read.messages.empty() && local->threadCount == 3 &&
                         local->lastUpdatedAt == noon + 1 && local->todayTokens == 290,
                     "threads of several databases count once")) {
        return;
    }
    std::map<std::string, std::int64_t> tokens;
    for (const auto& project : local->projectBoard->allProjects) {
        tokens[project.fullPath] = project.tokens;
    }
    test.expect(
        tokens ==
            std::map<std::string, std::int64_t>{{"", 350}, {"/stale", 7}, {"/tmp/project-a", 40}},
        "the latest row of a thread holds, with what its table does not know");
    std::filesystem::copy(home.database(), codex / "state_3.sqlite");
    std::filesystem::resize_file(codex / "state_3.sqlite", 100);
    std::filesystem::resize_file(codex / "state_3.sqlite", 8192);
    test.expect(today(home.readAnew()) == 290, "a damaged one beside them is passed over");
}

}  // namespace

bool run() {
    return SelfTest::run("local analytics",
                         {checkComplete, checkForgetting, checkDamagedParent, checkSettledThreads,
                          checkTakeover, checkSeveralDatabases});
}

}  // namespace vantry::LocalAnalyticsSelfTest
