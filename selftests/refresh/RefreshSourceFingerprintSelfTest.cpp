#include <chrono>

#include "io/BoundedProcessRunner.h"
#include "local/index/SQLiteReader.h"
#include "refresh/IndexedSessionFiles.h"
#include "refresh/RefreshSourceReusePolicies.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"

namespace vantry::RefreshSourceFingerprintSelfTest {

namespace fs = std::filesystem;

namespace {

using Fingerprint = CodexRefreshSourceFingerprint;
using Value = std::optional<Fingerprint::Value>;
using Paths = std::vector<std::string>;

const Date noon(1'800'014'400);  // GMT

struct Home {
    TemporaryDirectory directory{"vantry-refresh-fingerprint-"};
    Paths logs;

    std::string write(const std::string& name, std::string_view contents) const {
        return directory.write(".codex/" + name, contents).string();
    }

    RuntimeLoadContext context(Date now = noon, const char* zone = "GMT") const {
        return {.now = now,
                .homeDirectory = directory.path(),
                .cacheDirectory = {},
                .statistics = contextIn(zone, now)};
    }

    Value local(Date now = noon, const char* zone = "GMT") const {
        const RuntimeLoadContext at = context(now, zone);
        return Fingerprint::captureLocalUsage({.context = at, .indexedSessionFiles = logs});
    }

    Value board(Date now = noon, const char* zone = "GMT") const {
        const RuntimeLoadContext at = context(now, zone);
        return Fingerprint::captureTaskBoardIn(at.codex(), at);
    }
};

bool matches(const Value& current, const Value& previous) {
    return RefreshSourceFingerprintReusePolicy::matches({.current = current, .previous = previous});
}

void checkWhatChanges(SelfTest& test) {
    using Case = std::tuple<const char*, bool, bool>;
    const Home home;
    home.write("state_5.sqlite", "");
    Value local = home.local();
    Value board = home.board();
    for (const auto& [file, changesLocal, changesBoard] :
         {Case{"sqlite/state_6.sqlite", true, true}, Case{"state_5.sqlite-wal", true, true},
          Case{".codex-global-state.json", true, false},
          Case{"automations/daily/automation.toml", false, true},
          Case{"config.toml", false, false}}) {
        for (const bool isThere : {true, false}) {
            const std::string path = home.write(file, "one");
            if (!isThere) fs::remove(path);
            const Value nextLocal = home.local();
            const Value nextBoard = home.board();
            test.expect(matches(nextLocal, local) != changesLocal &&
                            matches(nextBoard, board) != changesBoard,
                        file);
            local = nextLocal;
            board = nextBoard;
        }
    }
}

void checkSessions(SelfTest& test) {
    Home home;
    for (const char* name : {"b", "a", "c"}) {
        home.logs.push_back(home.write("sessions/" + std::string(name), "12"));
    }
    const Value first = home.local();
    std::ranges::reverse(home.logs);
    test.expect(matches(home.local(), first), "the order of the logs does not show");
    const std::string log = home.logs[1];  // "a"
    const auto time = fs::last_write_time(log);
    Value last = first;
    const auto expectChange = [&](const char* what) {
        const Value now = home.local();
        test.expect(!matches(now, last), what);
        last = now;
    };
    home.write("sessions/a", "123");
    fs::last_write_time(log, time);
    expectChange("another size");
    fs::last_write_time(log, time + std::chrono::nanoseconds(1));
    expectChange("another nanosecond");
    fs::copy_file(log, log + "-copy");
    fs::last_write_time(log + "-copy", fs::last_write_time(log));
    fs::rename(log + "-copy", log);
    expectChange("another file");
    fs::remove(log);
    expectChange("a log that was deleted");
    const fs::path loop = home.directory.path() / "loop";
    fs::create_symlink(loop, loop);
    home.logs.push_back(loop / "log");
    test.expect(!home.local(), "without a reading there is no fingerprint");
}

void checkTimeAndZone(SelfTest& test) {
    const Home home;
    const Value local = home.local();
    const Value board = home.board();
    test.expect(!matches(home.local(noon + 3600), local) && matches(home.board(noon + 3600), board),
                "the next hour is only of interest to local usage");
    test.expect(
        !matches(home.local(noon + 86'400), local) && !matches(home.board(noon + 86'400), board),
        "another day");
    test.expect(!matches(home.local(noon, "Africa/Abidjan"), local) &&
                    !matches(home.board(noon, "Africa/Abidjan"), board),
                "another zone with the same clock");
}

void checkAutomationsWalk(SelfTest& test) {
    const Home home;
    const fs::path elsewhere = home.directory.path() / "elsewhere";
    fs::create_directories(elsewhere);
    home.write("automations/a/notes/deep.txt", "1");
    fs::create_directory_symlink(elsewhere, home.directory.path() / ".codex/automations/link");
    const Value board = home.board();
    home.directory.write("elsewhere/file", "1");
    test.expect(matches(home.board(), board), "links are not followed");
    home.write("automations/a/notes/deep.txt", "12");
    test.expect(!matches(home.board(), board), "a change in the middle of the tree");
    for (int i = 0; i < 4'100; ++i) home.write("automations/b/" + std::to_string(i), "");
    test.expect(!home.board(), "a tree too large to be watched has to be read");
}

void runSQL(const fs::path& database, const std::string& sql) {
    BoundedProcessRunner::run({.executableURL = *CodexUsageReader::firstExistingPath(
                                   CodexUsageReader::sqliteProgramCandidates()),
                               .arguments = {database.string(), sql},
                               .timeout = 5.0,
                               .maxOutputBytes = 4'096});
}

void checkIndex(SelfTest& test) {
    const Home home;
    const fs::path database = home.directory.path() / ".codex/state_5.sqlite";
    IndexedSessionFilesCache cache;
    const auto index = [&] {
        return CodexUsageReader::indexedSessionFilesForRefreshFingerprint(home.context(), cache);
    };
    test.expect(index().empty() && !cache.databaseFiles, "no database, and nothing to remember");
    fs::create_directories(database.parent_path());
    runSQL(database,
           "PRAGMA journal_mode=WAL;"
           "CREATE TABLE threads(id, rollout_path, model, cwd, name, updated_at, thread_source,"
           " source);"
           "INSERT INTO threads VALUES('t1', '/log1', 'm', '/w', 'n', 1800000000, NULL, 'cli');");
    test.expect(index() == Paths{"/log1"}, "the logs of the index");
    index();
    // Each of these reads rewrites the shared memory file of a database that nobody writes.
    const Value before = home.local();
    IndexedSessionFilesCache other;
    CodexUsageReader::indexedSessionFilesForRefreshFingerprint(home.context(), other);
    test.expect(matches(home.local(), before) && other.databaseFiles == cache.databaseFiles,
                "a read of the database is no change of it");

    const auto size = fs::file_size(database);
    const auto time = fs::last_write_time(database);
    home.write("state_5.sqlite", std::string(size, 'x'));
    fs::last_write_time(database, time);
    test.expect(index() == Paths{"/log1"}, "an unchanged database is not asked");
    fs::last_write_time(database, time + std::chrono::nanoseconds(1));
    test.expect(index().empty() && !cache.databaseFiles, "a failed query is not remembered");
    for (std::size_t count = 1; count <= 9; ++count) {  // several fall on one tick of the clock
        home.write("sessions/rollout-" + std::to_string(count) + ".jsonl", "");
        test.expect(index().size() == count,
                    "a log without a row is looked at as soon as it is there");
    }
}

void checkBoardAge(SelfTest& test) {
    const auto mayReuse = [](const std::vector<std::optional<Date>>& activeTimes) {
        TaskBoard board{.columns = {{.id = TaskColumnKind::pending, .items = {TaskItem{}}},
                                    {.id = TaskColumnKind::active}}};
        for (const auto& time : activeTimes) {
            board.columns[1].items.push_back(TaskItem{.updatedAt = time});
        }
        return TaskBoardSourceReusePolicy::mayReuse(board, noon);
    };
    test.expect(!TaskBoardSourceReusePolicy::mayReuse(std::nullopt, noon) &&
                    TaskBoardSourceReusePolicy::mayReuse(TaskBoard{}, noon) && mayReuse({}),
                "nothing active to expire");
    test.expect(mayReuse({noon - 7200.0, noon + 5}) && !mayReuse({noon, noon - 7200.001}),
                "two hours");
    test.expect(!mayReuse({noon, std::nullopt}), "an item of unknown age");
}

}  // namespace

bool run() {
    return SelfTest::run("refresh source fingerprint",
                         {checkWhatChanges, checkSessions, checkTimeAndZone, checkAutomationsWalk,
                          checkBoardAge, checkIndex});
}

}  // namespace vantry::RefreshSourceFingerprintSelfTest
