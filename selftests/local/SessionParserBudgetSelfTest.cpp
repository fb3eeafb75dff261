#include <fstream>
#include <sys/stat.h>

#include "local/cache/SessionKeeping.h"
#include "platform/Compression.h"
#include "selftests/Suites.h"
#include "selftests/support/SelfTest.h"

namespace vantry::SessionParserBudgetSelfTest {

namespace fs = std::filesystem;
using namespace CodexUsageReader;

namespace {

const Date now(1'800'000'000);

std::string event(int total, int ordinal = 0) {
    const std::string count = std::to_string(total);
    return R"({"timestamp":"2026-07-17T00:01:00Z","ordinal":)" + std::to_string(ordinal) +
           R"(,"type":"event_msg","payload":{"type":"token_count","info":{"total_token_usage":{"input_tokens":)" +
           count + R"(,"cached_input_tokens":0,"output_tokens":0,"total_tokens":)" + count +
           "}}}}\n";
}

std::string header(const std::string& id) {
    return R"({"timestamp":"2026-07-17T00:00:00Z","type":"session_meta","payload":{"id":")" + id +
           "\"}}\n";
}

std::string filler(std::size_t size) {
    return R"({"type":"response_item","payload":{"type":"compacted","replacement_history":")" +
           std::string(size, '_') + "\"}}\n";
}

/// A home with one log.
struct Home {
    fs::path write(const std::string& text) const {
        return directory.write(".codex/log.jsonl", text);
    }
    void append(std::string_view text) const {
        std::ofstream(log(), std::ios::binary | std::ios::app) << text;
    }
    fs::path log() const { return directory.path() / ".codex/log.jsonl"; }
    SessionReadSetting setting() const {
        return {.codexHome = directory.path() / ".codex", .now = now};
    }
    SessionReadOutcome read(const SessionReadSetting& setting) const {
        return readSession({.path = log().string(),
                            .fallbackThreadId = "me",
                            .known = known ? &known->head : nullptr,
                            .loadKnown =
                                [&] {
                                    return std::make_shared<const SessionUsageCacheEntry>(
                                        entryOf(known->head, known->events).value());
                                }},
                           setting);
    }
    /// Reads and keeps; the route that was taken.
    SessionReadRoute keep(const SessionReadSetting& setting) {
        const auto outcome = read(setting);
        if (outcome.entry) known = formsOf(*outcome.entry);
        return outcome.route;
    }
    std::optional<SessionUsageCacheEntry> kept() const {
        return known ? entryOf(known->head, known->events) : std::nullopt;
    }

    TemporaryDirectory directory{"vantry-session-reads-"};
    std::optional<SessionEntryForms> known;
};

// What a log says, without what depends on how it was read.
std::string contents(const std::optional<SessionUsageCacheEntry>& entry) {
    if (!entry) return "refused";
    std::string text = std::to_string(entry->tokenEventCount) + "/" +
                       std::to_string(entry->lastTokenUsage->totalTokens) + "/" +
                       (entry->lineage ? entry->lineage->threadId : "-");
    const auto decoding = entry->deltaStorage.decoded();
    const auto trail = entry->readingTrail.decoded(entry->deltaStorage.count);
    if (!decoding.deltas || !trail) return "damaged";
    for (std::size_t i = 0; i < decoding.deltas->size(); ++i) {
        text += " " + std::to_string((*decoding.deltas)[i].tokens.totalTokens) + "@" +
                std::to_string(trail->ordinals[i]) + (*decoding.deltas)[i].model.value_or("");
    }
    for (const auto& [tool, count] : entry->toolCalls) text += " " + tool + std::to_string(count);
    return text;
}

std::string fresh(const Home& home) {
    const std::string path = home.log().string();
    return contents(readSession({.path = path, .fallbackThreadId = "me"}, home.setting()).entry);
}

void checkLargeLogs(SelfTest& test) {
    Home home;
    const std::string text = header("me") + event(10) + filler(100) + event(30);
    home.write(text);
    SessionReadSetting setting = home.setting();
    setting.limits.maxLargeFileLineBytes = 50;
    setting.limits.largeFileThresholdBytes = static_cast<std::int64_t>(text.size());
    test.expect(contents(home.read(setting).entry) == "2/30/me 10@0 20@0",
                "a file at the threshold has the standard limits");
    setting.limits.largeFileThresholdBytes -= 1;
    test.expect(home.read(setting).trouble == SessionLogTrouble::tooLarge,
                "one byte more has those of a large one");
    const std::string elsewhere = "/etc/passwd";
    test.expect(
        readSession({.path = elsewhere}, home.setting()).trouble == SessionLogTrouble::outside,
        "a log elsewhere is denied");
    const std::string packed = home.directory.path() / ".codex/log.jsonl.zst";
    const auto trouble = [&] {
        return readSession({.path = packed, .fallbackThreadId = "me"}, home.setting());
    };
    home.directory.write(".codex/log.jsonl.zst", *compressed(text + filler(900'000)));
    test.expect(contents(trouble().entry) == "2/30/me 10@0 20@0", "a compressed log is unpacked");
    fs::resize_file(packed, fs::file_size(packed) - 3);
    test.expect(trouble().trouble == SessionLogTrouble::damaged, "and must be whole");
}

void checkLimits(SelfTest& test) {
    Home home;
    home.write(header("me") + event(10) + filler(3'000) + event(30));
    const auto kept = [&] { return contents(home.kept()); };
    const auto refuses = [&](const char* what, auto change) {
        SessionReadSetting setting = home.setting();
        change(setting);
        const std::string before = kept();
        const bool isRefused = home.keep(setting) == SessionReadRoute::failed;
        test.expect(isRefused && kept() == before, what);
    };
    refuses("bytes", [](auto& s) { s.limits.maxReadBytes = 3'000; });
    refuses("a line", [](auto& s) { s.limits.maxLineBytes = 2'000; });
    for (const double timeout : {0.0, -1.0, 1.0 / 0.0, 0.0 / 0.0}) {
        refuses("no time limit at all", [&](auto& s) { s.limits.timeout = timeout; });
    }
    for (int ticks = 1; ticks < 6; ++ticks) {
        refuses("a clock that jumps", [&](auto& s) {
            s.uptime = [ticks, calls = 0]() mutable { return ++calls > ticks ? 1e6 : 0.0; };
        });
    }
    test.expect(home.keep(home.setting()) == SessionReadRoute::whole,
                "within the limits it is read");
    home.append(event(35) + filler(500));
    refuses("a clock that jumps while reading on", [](auto& s) {
        s.limits.maxReadBytes = 1'000;
        s.uptime = [calls = 0]() mutable { return ++calls > 3 ? 1e6 : 0.0; };
    });
    SessionReadSetting small = home.setting();
    small.limits.maxReadBytes = 1'000;
    test.expect(home.keep(small) == SessionReadRoute::appended && kept() == fresh(home),
                "only appended bytes count of a log that has grown");
    home.append(std::string(2'000, 'x'));
    small.limits.maxLineBytes = 1'000;
    test.expect(home.keep(small) == SessionReadRoute::failed, "未换行片段超限不得提交部分缓存");
}

void checkTails(SelfTest& test) {
    Home home;
    home.write(header("me") + event(10) + R"({"type":"event_msg","payload":{"type":"token_count")");
    test.expect(home.keep(home.setting()) == SessionReadRoute::whole &&
                    home.keep(home.setting()) == SessionReadRoute::hit &&
                    contents(home.kept()) == "1/10/me 10@0",
                "an unfinished line is not there yet, whatever it holds");
    home.append("\n" + event(11));
    test.expect(home.keep(home.setting()) == SessionReadRoute::appended &&
                    contents(home.kept()) == "2/11/me 10@0 1@0" &&
                    home.known->head.lines.unreadable == 1,
                "finished, a line that is no JSON is passed over and counted");
    std::string torn;
    for (int i = 0; i < 9; ++i) torn += "{\"type\":\"token_count\"\n";
    home.append(torn);
    test.expect(home.keep(home.setting()) == SessionReadRoute::failed &&
                    home.read(home.setting()).trouble == SessionLogTrouble::damaged,
                "ten of them, and it is no log");
}

// After each byte that a writer adds the figures are those of a fresh read of what stands there.
void checkGrowth(SelfTest& test) {
    const std::string text =
        header("me") +
        R"({"type":"turn_context","payload":{"model":"m"}})"
        "\n" +
        event(10, 3) + filler(40) +
        R"({"type":"response_item","payload":{"type":"function_call","name":"shell","call_id":"c"}})"
        "\n" +
        event(40, 5) + event(15, 7) + event(15, 9) + event(16, 9);
    Home home;
    home.write("");
    bool agrees = true;
    for (std::size_t i = 0; i < text.size() && agrees; ++i) {
        home.append(text.substr(i, 1));
        home.keep(home.setting());
        agrees = contents(home.kept()) == fresh(home);
    }
    test.expect(agrees && contents(home.kept()) == "5/16/me 10@3m 30@5m 15@7m 1@9m shell1",
                "逐行 autoreleasepool 释放后仍须完整保留差分、模型与工具身份元数据");
}

void checkChanges(SelfTest& test) {
    Home home;
    home.write(header("me") + event(10) + event(30));
    const auto step = [&](const char* what, SessionReadRoute expected, auto change) {
        change();
        const SessionReadRoute route = home.keep(home.setting());
        test.expect(route == expected, what);
        if (route == SessionReadRoute::failed) return;
        test.expect(contents(home.kept()) == fresh(home), what);
    };
    using Route = SessionReadRoute;
    step("new", Route::whole, [] {});
    step("unchanged", Route::hit, [] {});
    step("touched", Route::whole, [&] {
        fs::last_write_time(home.log(),
                            fs::last_write_time(home.log()) + std::chrono::nanoseconds(1'000));
    });
    step("truncated", Route::whole,
         [&] { fs::resize_file(home.log(), (header("me") + event(10)).size()); });
    step("written anew, and longer", Route::whole, [&] {
        home.write(header("me") + event(5) + event(9) + std::string(400, '\n') + event(12));
    });
    step("replaced", Route::whole, [&] {
        home.directory.write(".codex/other", header("me") + event(7) + event(8) + event(9));
        fs::rename(home.directory.path() / ".codex/other", home.log());
    });
    step("a link", Route::failed, [&] {
        fs::rename(home.log(), home.directory.path() / ".codex/real");
        fs::create_symlink(home.directory.path() / ".codex/real", home.log());
    });
    step("back", Route::whole,
         [&] { fs::rename(home.directory.path() / ".codex/real", home.log()); });
    step("gone", Route::failed, [&] { fs::remove(home.log()); });
    step("a FIFO", Route::failed, [&] { ::mkfifo(home.log().c_str(), 0600); });
}

}  // namespace

bool run() {
    return SelfTest::run("session parser budget",
                         {checkLargeLogs, checkLimits, checkTails, checkGrowth, checkChanges});
}

}  // namespace vantry::SessionParserBudgetSelfTest
