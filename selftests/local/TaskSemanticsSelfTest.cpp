
#include "io/BoundedProcessRunner.h"
#include "local/board/AutomationTasks.h"
#include "local/board/TaskBoardReader.h"
#include "local/board/TaskEvidencePolicy.h"
#include "local/index/ConversationTitle.h"
#include "local/index/SQLiteReader.h"
#include "presentation/words/TaskBoardWords.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::TaskSemanticsSelfTest {

using namespace CodexUsageReader;

namespace {

// 2026-03-01T21:00:00Z, five hours into the day of Shanghai.
const Date now(1'772'398'800);

std::optional<Date> ago(std::optional<double> seconds) {
    if (!seconds) return std::nullopt;
    return now - *seconds;
}

void checkEvidence(SelfTest& test) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    using Case = std::tuple<std::optional<double>, std::optional<double>, std::optional<double>,
                            TaskColumnKind>;
    const Case cases[] = {
        {7200, {}, 7200, TaskColumnKind::active}, {7201, {}, 7201, TaskColumnKind::pending},
        {9000, 0, 0, TaskColumnKind::active},     {-1, 8000, 8000, TaskColumnKind::pending},
        {10, nan, 10, TaskColumnKind::active},    {-1, -2, {}, TaskColumnKind::pending}};
    for (const auto& [recency, updated, latest, place] : cases) {
        const auto observed = TaskEvidencePolicy::latestObservedActivity(
            {.recencyAt = ago(recency), .updatedAt = ago(updated), .now = now});
        const auto column = TaskEvidencePolicy::column({.lastActivityAt = observed, .now = now});
        test.expect(observed == ago(latest) && column == place,
                    "应采用最近的有效活动时间并忽略未来时间");
    }
    test.expect(TaskEvidencePolicy::column({.lastActivityAt = now + 1, .now = now}) ==
                    TaskColumnKind::pending,
                "nothing in the future is active");
    std::vector<TaskItem> items{{"z"}, {"d"}, {"n"}, {"c"}, {"e"}, {"a"}};
    for (const auto& [place, age] : std::map<int, double>{{1, 5}, {2, nan}, {3, 5}, {4, 1}}) {
        items[static_cast<std::size_t>(place)].updatedAt = ago(age);
    }
    std::string order;
    for (const TaskItem& item : TaskEvidencePolicy::sortedByActivity(items)) order += item.id;
    test.expect(order == "ecdanz",
                "任务必须按实际活动时间降序、缺失时间最后，同时间按 ID 稳定排序");
}

void checkTitles(SelfTest& test) {
    std::string wide;
    for (int i = 0; i < 80; ++i) wide += "\u4F1A ";
    test.expect(normalizedThreadTitle(" \n\u3000") == "Untitled" &&
                    normalizedConversationTitle("\t").empty() &&
                    normalizedThreadTitle("\n a \r\n\t b\u2003c ") == "a b c" &&
                    normalizedThreadTitle(wide + wide) == wide.substr(0, wide.size() - 1),
                "a title is one line, cut between characters");
}

std::optional<TaskItem> automation(const std::string& lines) {
    return parseAutomationTask(
        {.folderName = "nightly-run", .contents = "status = \"ACTIVE\"\n" + lines});
}

void checkAutomations(SelfTest& test) {
    test.expect(
        automation("name = \" Night \"\nkind = \"heartbeat\"\nrrule = \"R\"\ncron = \"C\"\n"
                   "updated_at = 1772398790000\nprompt = \"\"\"\nstatus = \"PAUSED\"\n\"\"\"\n") ==
            TaskItem{.id = "automation-nightly-run",
                     .code = "AUTO-nightl",
                     .title = "Night",
                     .detail = "R",
                     .chip = "Wake",
                     .updatedAt = ago(10),
                     .kind = TaskColumnKind::scheduled},
        "an automation is a scheduled item without a thread");
    const auto plain = automation("cron = \"C\"\nrrule = \"\"");
    test.expect(plain->detail == "C" && plain->chip == "Cron", "cron where there is no rule");
    using Time = std::pair<std::string, std::optional<Date>>;
    for (const auto& [time, date] :
         {Time{"1772398800", now}, Time{"1772398800000.0", now}, Time{"\"1772398800\"", now},
          Time{"\"2026-03-01T21:00:00Z\"", now}, Time{"2026-03-02T05:00:00+08:00", now},
          Time{"inf", {}}, Time{"\"soon\"", {}}, Time{"2026-03-01T21:00:00", {}}}) {
        test.expect(automation("updated_at = " + time)->updatedAt == date, time);
    }
    std::string deep = "a";
    for (int i = 0; i < 60'000; ++i) deep += ".a";
    test.expect(!automation("name = ") && !automation(deep + " = 1") &&
                    !parseAutomationTask({.folderName = "x", .contents = "status = \"active\""}),
                "what is not active or cannot be read is left out");

    const TemporaryDirectory home("vantry-task-semantics-");
    const std::filesystem::path folder = ".codex/automations";
    const std::string active = "status = \"ACTIVE\"\n";
    home.write(folder / "good\xff/automation.toml", active + "name = \"\xff\"");
    home.write(folder / "bad/automation.toml", "status = ");
    home.write(folder / "large/automation.toml", active + std::string(131'072, '\n'));
    home.write("elsewhere/automation.toml", active);
    std::filesystem::create_directory_symlink(home.path() / "elsewhere",
                                              home.path() / folder / "linked");
    const auto tasks = readAutomationTasks(home.path() / ".codex");
    test.expect(
        tasks.size() == 1 && tasks[0].id == "automation-good\uFFFD" && tasks[0].title == "\uFFFD",
        "one bad file does not hide the others, and no link is followed");
}

// Times as seconds from now, until the end.
constexpr const char* threads = R"(
CREATE TABLE threads (id, title, cwd, rollout_path, thread_source, archived, archived_at,
    created_at, updated_at, recency_at);
INSERT INTO threads VALUES
('edge', CAST(X'2054FF20' AS TEXT), '/w/p', 'm', NULL, 0, NULL, -9999, -7200, -8000),
('past', NULL, NULL, NULL, 'user', 0, NULL, -9999, -7201, -9999),
('milliseconds', '', '', '', '', 0, NULL, -9999, -10, -9999),
('ahead', '', '', '', '', 0, NULL, -99999, -20000, 60),
('unknown', '', '', '', '', 0, NULL, -5, 1, 2),
('agent', '', '', '', 'subagent', 0, NULL, -5, -5, -5),
('yesterday', '', '', '', '', 0, NULL, -18001, -18001, -18001),
(NULL, '', '', '', '', 0, NULL, -5, -5, -5),
('archived', '', '', '', '', 1, -18000, -5, -5, -5),
('created', '', '', '', '', 0, NULL, -5, -20000, -20000),
('archived ahead', '', '', '', '', 1, 60, -5, -5, -5),
('archived yesterday', '', '', '', '', 1, -18001, -5, -5, -5);
UPDATE threads SET archived_at = 1772398800 + archived_at, created_at = 1772398800 + created_at,
    updated_at = 1772398800 + updated_at, recency_at = 1772398800 + recency_at;
UPDATE threads SET updated_at = updated_at * 1000 WHERE id = 'milliseconds';)";

// An older Codex's, with earlier rows of two of these threads.
constexpr const char* olderThreads = R"(
CREATE TABLE threads (id, rollout_path, updated_at, archived, source);
INSERT INTO threads VALUES ('edge', '', 1772391599, 0, ''), ('archived', '', 1772398794, 0, ''),
('old', '', 1772398740, 0, 'cli'), ('older agent', '', 1772398740, 0, '{"subagent":{}}');)";

std::string shown(const TaskBoardRead& read) {
    std::string text;
    for (const std::string& message : wordsOf(read.messages)) text += message;
    if (!read.board) return text;
    for (const TaskColumn& column : read.board->columns) {
        text += std::string(columnTitle(column.id).zh) + " " + std::to_string(column.count);
        for (const TaskItem& item : column.items) text += ", " + item.id + " " + item.chip;
        text += "\n";
    }
    return text;
}

void checkBoard(SelfTest& test) {
    const TemporaryDirectory home("vantry-task-semantics-");
    const auto read = [&](Date time) {
        return readTaskBoardIn(CodexFolders::below(home.path()),
                               {.now = time, .statistics = contextIn("Asia/Shanghai", time)});
    };
    test.expect(shown(read(now)) == "任务看板未找到 SQLite 数据源", "no thread index, no board");
    const auto database = home.write(".codex/state_5.sqlite", "no database, whatever its name is");
    test.expect(shown(read(now)) == "任务看板 SQLite 查询失败",
                "a damaged index is no empty board");
    std::filesystem::remove(database);
    for (const auto& [path, sql] :
         {std::pair(database, threads),
          std::pair(home.path() / ".codex/state_4.sqlite", olderThreads)}) {
        BoundedProcessRunner::run(
            {.executableURL = firstExistingPath(sqliteProgramCandidates()).value(),
             .arguments = {path.string(), sql},
             .timeout = 30,
             .maxOutputBytes = 4096});
    }
    home.write(".codex/automations/a/automation.toml", "status = \"ACTIVE\"");
    test.expect(shown(read(Date(1e300))).empty(), "a clock beyond all integers");
    const TaskBoardRead whole = read(now);
    if (!test.expect(shown(whole) == "最近活跃 3, milliseconds Recent, old Recent, edge Recent\n"
                                     "其他会话 4, past Earlier, ahead Earlier, created Earlier, "
                                     "unknown Unknown\n"
                                     "定时 1, automation-a Cron\n今日归档 1, archived Archived\n",
                     "the day is that of the statistics, and a time ahead is no activity")) {
        return;
    }
    const TaskItem& edge = whole.board->columns[0].items[2];
    test.expect(edge.threadID == "edge" && edge.code == "COD-edge" && edge.title == "T\uFFFD" &&
                    edge.detail == "p",
                "an item says what its row says");
    test.expect(!whole.board->columns[1].items[3].updatedAt, "缺少活动时间不能猜测较早活动");
    const TaskBoard bound = whole.board->replacingTodayConversationTokens({{"edge", 0}}, true);
    test.expect(bound.columns[0].items[2].tokens == 0 && !bound.columns[0].items[0].tokens &&
                    bound.columns[1].items[3].tokensAreStale &&
                    !bound.columns[2].items[0].tokensAreStale &&
                    bound.replacingTodayConversationTokens({}, false) == whole.board,
                "仅完整本机统计批次可绑定任务用量；不可用批次或清空本机记录必须清除旧任务数字");
}

}  // namespace

bool run() {
    return SelfTest::run("task semantics",
                         {checkEvidence, checkTitles, checkAutomations, checkBoard});
}

}  // namespace vantry::TaskSemanticsSelfTest
