#include <fcntl.h>
#include <unistd.h>

#include "headless/WatchScreen.h"
#include "platform/FileDescriptor.h"
#include "platform/TextWidth.h"
#include "presentation/status/WatchLines.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"
#include "selftests/support/Words.h"

namespace vantry::WatchLinesSelfTest {

namespace {

// 15:00 in Shanghai.
const Date now = at("2026-03-02T07:00:00Z");
constexpr double minute = 60;
constexpr double hour = 3'600;

// A Plus account of which everything is known.
RuntimeUsageSnapshot knownRuntime() {
    TaskBoard board{.refreshedAt = now};
    board.columns = {{.id = TaskColumnKind::pending, .count = 5},
                     {.id = TaskColumnKind::active,
                      .count = 2,
                      .items = {{.id = "i", .title = "TITLE", .detail = "/home/me"}}}};
    RuntimeUsageSnapshot runtime{.status = RuntimeMenuStatus::available, .quotaCapturedAt = now};
    runtime.snapshot.refreshedAt = now;
    runtime.snapshot.account = AccountInfo{.type = "chatgpt", .planType = "plus"};
    runtime.snapshot.primary = {.usedPercent = 23.4, .resetsAt = now + 148.5 * minute};
    runtime.snapshot.secondary = {.usedPercent = 40, .resetsAt = now + 110.2 * hour};
    runtime.snapshot.local = LocalUsage{.todayTokens = 1'200'000, .sevenDayTokens = 31'400'000};
    runtime.snapshot.localUsageReadStatus = LocalUsageReadStatus::complete;
    runtime.snapshot.taskBoard = board;
    return runtime;
}

struct Asked {
    RuntimeUsageSnapshot runtime = knownRuntime();
    Date at = now;
    WidgetLanguage language = WidgetLanguage::en;
    std::optional<std::size_t> columns = {};
};

std::string lineOf(const Asked& asked) {
    MultiRuntimeUsageSnapshot snapshot{.refreshedAt = now, .runtimes = {asked.runtime}};
    snapshot.statisticsIdentity = {.resolvedIdentifier = "Asia/Shanghai", .now = now};
    return WatchLines::lines({.snapshot = snapshot,
                              .now = asked.at,
                              .language = asked.language,
                              .columns = asked.columns})
        .front();
}

void expectLine(SelfTest& test, const Asked& asked, const std::string& expected) {
    const std::string seen = lineOf(asked);
    test.expect(seen == expected, "expected \"" + expected + "\", saw \"" + seen + "\"");
}

const std::string localPart = "today 1.2M · 7 days 31.4M · 2 active conversations";

void checkFigures(SelfTest& test) {
    expectLine(test, {},
               "Codex  5h 77% left, back in 2h 29m · 7d 60% left, back in 4d 15h · " + localPart);
    expectLine(
        test, {.language = WidgetLanguage::zh},
        "Codex  5 小时 剩余 77%，2小时29分后恢复 · 7 天 剩余 60%，4天15小时后恢复 · 今日 1.2M · "
        "近 7 天 31.4M · 2 个活跃会话");
    RuntimeUsageSnapshot pro = knownRuntime();
    pro.snapshot.account->planType = "pro";
    pro.snapshot.taskBoard->columns[1].count = 1;
    pro.snapshot.local->detailedUsage = DetailedUsage{};
    pro.snapshot.local->gaps.add(LocalUsageGapKind::missingLog, "/gone");
    expectLine(
        test, {.runtime = pro},
        "Codex  7d 60% left, back in 4d 15h · 5h 77% left, back in 2h 29m · today 0 · 7 days "
        "31.4M · 1 active conversation · 1 gap (missingLog)");
    RuntimeUsageSnapshot bare{.status = RuntimeMenuStatus::unavailable};
    bare.snapshot.taskBoard = TaskBoard{};
    const std::string unknown = "Codex  7d -- · today -- · 7 days -- · -- active conversations";
    expectLine(test, {.runtime = bare}, unknown);
    bare.snapshot.readerState = {.isLoading = true, .appServer = AppServerReadState::failed};
    expectLine(test, {.runtime = bare}, unknown + " · reading… · account not read");
}

void checkCountdown(SelfTest& test) {
    using Case = std::pair<double, std::string>;
    for (const auto& [left, text] : {Case{1, "1m"}, Case{minute, "1m"}, Case{minute + 0.1, "2m"},
                                     Case{24 * hour - 61, "23h 59m"}, Case{24 * hour - 59, "1d"},
                                     Case{24 * hour + 1, "1d 1h"}, Case{48 * hour - 1, "2d"}}) {
        RuntimeUsageSnapshot runtime = knownRuntime();
        runtime.snapshot.primary->resetsAt = now + left;
        const std::string start = "Codex  5h 77% left, back in " + text + " · 7d";
        test.expect(lineOf({.runtime = runtime}).starts_with(start), start);
    }
}

void checkTime(SelfTest& test) {
    RuntimeUsageSnapshot runtime = knownRuntime();
    expectLine(test, {.at = now + 148.5 * minute},
               "Codex  5h -- · 7d 60% left, back in 4d 12h · " + localPart);
    runtime.snapshot.primary = {.usedPercent = 20, .windowDurationMins = 300};
    runtime.snapshot.secondary.reset();
    expectLine(test, {.runtime = runtime, .at = now + 4 * hour},
               "Codex  5h 80% left · " + localPart);
    expectLine(test, {.runtime = runtime, .at = now + 5 * hour}, "Codex  5h -- · " + localPart);
    // Nine hours later it is midnight.
    test.expect(
        lineOf({.at = now + 9 * hour - 1}).find("today 1.2M") != std::string::npos &&
            lineOf({.at = now + 9 * hour}).find("today -- · 7 days -- ·") != std::string::npos,
        "yesterday's tokens are not today's");
}

void checkMarks(SelfTest& test) {
    RuntimeUsageSnapshot runtime = knownRuntime();
    runtime.status = RuntimeMenuStatus::stale;
    runtime.quotaCapturedAt = now - 55 * minute;
    runtime.snapshot.cloudDailyUsageIsStale = true;
    runtime.snapshot.cloudDailyBuckets.emplace();
    runtime.snapshot.cloudDailyUsageCapturedAt = now - 15.5 * hour;
    runtime.snapshot.localUsageIsStale = true;
    const auto tail = [&](WidgetLanguage language, double later) {
        const std::string text =
            lineOf({.runtime = runtime, .at = now + later, .language = language});
        const std::size_t at =
            text.find(language == WidgetLanguage::zh ? "活跃会话" : "conversations");
        return text.substr(at);
    };
    const std::string english =
        "conversations · quota stale since 14:05 · official days stale since Mar 1 23:30 · ";
    test.expect(tail(WidgetLanguage::en, 0) == english + "local figures stale",
                tail(WidgetLanguage::en, 0));
    test.expect(tail(WidgetLanguage::zh, 0) ==
                    "活跃会话 · 额度数据自 14:05 起陈旧 · 官方日统计自 3月1日 23:30 起陈旧"
                    " · 本机统计陈旧",
                tail(WidgetLanguage::zh, 0));
    test.expect(
        tail(WidgetLanguage::en, -hour).starts_with("conversations · quota stale · official "),
        "a time that has yet to come is none");
    test.expect(tail(WidgetLanguage::en, 200 * hour).starts_with("conversations · official days"),
                "figures that are not shown have no mark");
}

/// Whatever a source says, the words are ours.
void checkTroubles(SelfTest& test) {
    RuntimeUsageSnapshot runtime = knownRuntime();
    UsageSnapshot& seen = runtime.snapshot;
    seen.messages = said({"no access for me@example.com"});
    const auto expectEnd = [&](const std::string& end,
                               WidgetLanguage language = WidgetLanguage::en) {
        const std::string line = lineOf({.runtime = runtime, .language = language});
        test.expect(line.ends_with(end), line);
    };
    expectEnd("active conversations");
    seen.readerState.appServer = AppServerReadState::responded;
    seen.officialUsageReadStatus = OfficialUsageReadStatus::failed;
    expectEnd("conversations · official days not read");
    seen.readerState.appServer = AppServerReadState::failed;
    seen.localUsageReadStatus = LocalUsageReadStatus::unavailable;
    expectEnd("conversations · account not read · local figures not read");
    seen.readerState.appServer = AppServerReadState::executableMissing;
    seen.readerState.localDependencyFailure = LocalReaderDependencyFailure::databaseMissing;
    expectEnd("conversations · no codex to run · no database of Codex found");
    seen.readerState.localDependencyFailure = LocalReaderDependencyFailure::sqliteExecutableMissing;
    expectEnd("会话 · 未找到可运行的 codex · 未找到 sqlite3", WidgetLanguage::zh);
}

void checkReading(SelfTest& test) {
    const auto lines = WatchLines::lines({.snapshot = MultiRuntimeUsageSnapshot::empty(),
                                          .now = now,
                                          .language = WidgetLanguage::zh});
    test.expect(lines == std::vector<std::string>{"Codex  正在读取…"}, "nothing was read yet");
    expectLine(test, {.runtime = {.snapshot = UsageSnapshot::empty()}}, "Codex  reading…");
    test.expect(WatchLines::lines({.snapshot = {}, .now = now, .columns = 16}) ==
                    std::vector<std::string>{"Nothing to read…"},
                "where the filter leaves nothing, nothing is waited for");
}

void checkLanguage(SelfTest& test) {
    const auto isZh = [](const std::map<std::string, std::string>& variables) {
        return automaticLanguage(environmentOf(variables)) == WidgetLanguage::zh;
    };
    test.expect(!isZh({}) && isZh({{"LANG", "zh_CN.UTF-8"}}) &&
                    !isZh({{"LC_MESSAGES", "C"}, {"LANG", "zh_CN"}}) &&
                    isZh({{"LC_ALL", ""}, {"LC_MESSAGES", "zh"}, {"LANG", "C"}}) &&
                    !isZh({{"LC_ALL", "en"}, {"LC_MESSAGES", "zh"}}),
                "the first variable that says anything decides");
}

void checkWidth(SelfTest& test) {
    using Case = std::tuple<std::string, std::size_t, std::string>;
    for (const auto& [text, columns, expected] :
         {Case{"abc", 3, "abc"}, Case{"abcd", 3, "ab…"}, Case{"额，", 4, "额，"},
          Case{"额，", 3, "额…"}, Case{"额度", 2, "…"}, Case{"额度", 0, ""},
          Case{"e\u0301abc", 2, "e\u0301…"}, Case{"\xFF\xFFz", 2, "\xFF…"}}) {
        const std::string cut = cutToWidth(text, columns);
        test.expect(cut == expected, "cut of " + text);
    }
    test.expect(wrappedRows("", 3) == 1 && wrappedRows("abcdef", 3) == 2 &&
                    wrappedRows("ab额额", 3) == 3 && wrappedRows("额额额", 3) == 3,
                "a wide character goes to the next row whole");
    expectLine(test, {.language = WidgetLanguage::zh, .columns = 24}, "Codex  5 小时 剩余 77%…");
    test.expect(terminalText("a\tb\u0085c\u202Ed\u2028\xFF额\x7F") == "a b cd \uFFFD额 ",
                "nothing steers the terminal");
}

// A pipe that takes nothing for a while.
void checkScreen(SelfTest& test) {
    std::array<int, 2> ends{-1, -1};
    test.expect(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) == 0, "a pipe");
    const FileDescriptor reader(ends[0]);
    const FileDescriptor output(ends[1]);
    std::vector<char> bytes(1 << 20);
    const ssize_t full = ::write(output.number(), bytes.data(), bytes.size());
    WatchScreen screen(output.number());
    test.expect(screen.show({"before"}) && screen.announce("back") && screen.show({"after"}) &&
                    screen.isBehind() &&
                    ::read(reader.number(), bytes.data(), bytes.size()) == full,
                "an output that takes nothing holds nobody up, and nothing is written by halves");
    bytes.assign(bytes.size(), '\0');
    test.expect(screen.show({"after"}) && screen.show({"after"}) && !screen.isBehind() &&
                    ::read(reader.number(), bytes.data(), bytes.size()) > 0 &&
                    std::string(bytes.data()) == "back\nafter\n",
                "what was announced is shown when the output takes lines again, once");
}

}  // namespace

bool run() {
    return SelfTest::run("watch lines",
                         {checkFigures, checkCountdown, checkTime, checkMarks, checkTroubles,
                          checkReading, checkLanguage, checkWidth, checkScreen});
}

}  // namespace vantry::WatchLinesSelfTest
