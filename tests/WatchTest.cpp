#include <climits>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <random>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <thread>

#include "corpus/Corpus.h"
#include "local/cache/LocalAnalyticsCache.h"
#include "official/KeptQuota.h"
#include "official/OfficialDailyUsageCache.h"
#include "platform/JsonReader.h"
#include "platform/TextWidth.h"
#include "presentation/format/TokenFormatter.h"
#include "refresh/QuotaEarlyRecoveryStateStore.h"
#include "session/DesktopWidgetSnapshotStore.h"
#include "support/Program.h"

using namespace vantry;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

/// The program's own files, and the version that each one states.
const std::map<std::string, std::optional<std::int64_t>> versions{
    {"official-daily-usage-v2.json", CodexUsageReader::officialDailyUsageCacheVersion},
    {"quota-v1.json", CodexUsageReader::KeptQuota::currentVersion},
    {"desktop-widget-snapshot-v1.json", DesktopWidgetSnapshot::currentSchemaVersion},
    {"Vantry.json", std::nullopt}};

std::optional<JsonDocument> documentIn(const fs::path& file) {
    return JsonDocument::parse(wholeFile(file));
}

/// Waits until some files have been written to, but not for long.
void awaitEvents(const FileDescriptor& events, std::size_t count) {
    for (; count > 0; --count) {
        pollfd next{.fd = events.number(), .events = POLLIN, .revents = 0};
        char event[sizeof(inotify_event) + NAME_MAX + 1];
        if (::poll(&next, 1, 300) != 1 || ::read(next.fd, event, sizeof event) <= 0) return;
    }
}

}  // namespace

class Watch : public ProgramTest {
  protected:
    const fs::path home = root() / "home";
    const fs::path cache = root() / "cache";
    const fs::path data = home / ".local/share/Vantry";
    const Variables user{{"HOME", home}, {"TZ", "UTC"}};
    corpus::Truth truth;

    /// A home of the last day, which the official history does not speak of.
    void make(std::int64_t conversations, std::int64_t totalBytes) {
        fs::remove_all(home);
        corpus::CorpusOptions options{
            .home = home, .conversations = conversations, .totalBytes = totalBytes, .spanDays = 1};
        options.end = (static_cast<corpus::Millis>(Date::now().secondsSince1970()) - 1) * 1'000;
        truth = corpus::makeCorpus(options);
        installCodex(codexScript());
    }
    RunningProgram watch(const std::string& output = "") const {
        return start({"--watch"}, user, R"(exec "$0" "$@")" + output);
    }
    std::string figures() const {
        const auto now = static_cast<corpus::Millis>(Date::now().secondsSince1970() * 1'000);
        const auto today = truth.days.find(corpus::dayText(now));
        const std::int64_t tokens = today == truth.days.end() ? 0 : today->second.totalTokens;
        return " · today " + TokenFormatter::format(tokens) + " · 7 days " +
               TokenFormatter::format(truth.total.totalTokens) + " · ";
    }

    /// Expects whole files under every name of the program's own; gives those under other names.
    std::vector<fs::path> unfinishedFiles() const {
        std::vector<fs::path> unfinished;
        for (const fs::path& directory : {cache, data, home / ".config/Vantry"}) {
            std::error_code isMissing;
            for (const auto& entry : fs::directory_iterator(directory, isMissing)) {
                const std::string name = entry.path().filename();
                if (entry.path().extension() == ".json") {
                    const auto document = documentIn(entry.path());
                    const char* key = directory == data ? "schemaVersion" : "version";
                    EXPECT_TRUE(document && document->root()[key].integer() == versions.at(name))
                        << name;
                } else if (!name.starts_with("session-usage.sqlite") &&
                           entry.path().extension() != ".lock") {
                    unfinished.push_back(entry.path());
                }
            }
        }
        return unfinished;
    }
    void expectRightDump() const {
        const auto document = JsonDocument::parse(dump(user));
        ASSERT_TRUE(document);
        const JsonView detail = document->root()["compat"]["codex"]["local"]["detailedUsage"];
        const auto tokens = detail["lifetime"]["tokens"]["totalTokens"].integer();
        EXPECT_EQ(tokens, truth.total.totalTokens);
    }
};

TEST_F(Watch, ShowsWhatIsKnownAsSoonAsItIs) {
    make(6, 80'000'000);  // the logs take longer than the account
    RunningProgram program = watch();
    ASSERT_TRUE(program.prints(figures())) << program.output();
    const std::string& output = program.output();
    const std::string reading = "Codex  reading…\n";
    const std::string quota =
        output.substr(reading.size(), output.find(" · today") - reading.size());
    EXPECT_TRUE(quota.starts_with("Codex  5h 77% left, back in ")) << quota;
    EXPECT_NE(quota.find(" · 7d 60% left, back in "), std::string::npos) << quota;
    const std::string ahead =
        quota + " · today -- · 7 days -- · -- active conversations · reading…\n";
    EXPECT_TRUE(output.starts_with(reading + ahead + quota + figures())) << output;
    std::this_thread::sleep_for(200ms);  // by then it only waits
    expectPromptEnd(program, SIGTERM);
    EXPECT_EQ(unfinishedFiles(), std::vector<fs::path>());
}

TEST_F(Watch, EndsInTheMiddleOfARead) {
    const auto interrupt = [&](const char* what) {
        for (const auto wait : {5ms, 60ms, 250ms}) {
            SCOPED_TRACE(testing::Message() << what << " for " << wait.count() << " ms");
            fs::remove_all(cache);
            RunningProgram program = watch();
            ASSERT_TRUE(program.prints("reading…"));
            std::this_thread::sleep_for(wait);
            expectPromptEnd(program, SIGINT);
            for (const fs::path& file : unfinishedFiles()) EXPECT_TRUE(documentIn(file)) << file;
        }
    };
    make(6, 80'000'000);
    interrupt("large logs");
    installCodex(codexScript("trap '' TERM\nquota() { exec sleep 60; }"));
    {
        DatabaseWriter writer(home / ".codex/state_5.sqlite");
        ASSERT_TRUE(writer.run("PRAGMA journal_mode=DELETE; BEGIN EXCLUSIVE;"));
        interrupt("a codex that hangs and a writer");
    }
    installCodex(codexScript());
    expectRightDump();
}

TEST_F(Watch, KilledAtAnyMomentItLeavesNothingDamaged) {
    make(60, 600'000);
    std::mt19937 random(7);  // NOLINT: the same moments each time
    const FileDescriptor events(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    for (int round = 0; round < 25; ++round) {
        SCOPED_TRACE(round);
        if (round % 3 == 0) fs::remove_all(cache);
        for (const fs::path& directory : {cache, data}) {
            fs::create_directories(directory);
            ::inotify_add_watch(events.number(), directory.c_str(),
                                IN_CREATE | IN_MODIFY | IN_MOVE);
        }
        RunningProgram program = watch();
        ASSERT_TRUE(program.prints("reading…"));
        if (round % 2 == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(random() % 150));
        } else {
            awaitEvents(events, 1 + random() % 10);  // in the middle of writing
        }
        ASSERT_TRUE(program.secondsToEnd(SIGKILL));
        expectNothingRuns();  // the codex sees its input end
        for (const fs::path& file : unfinishedFiles()) {
            EXPECT_TRUE(versions.contains(file.stem())) << file;
        }
    }
    expectRightDump();
    fs::remove_all(cache);
    RunningProgram first = watch();
    RunningProgram second = watch();
    for (RunningProgram* program : {&first, &second}) {  // two at once share the home
        EXPECT_TRUE(program->prints(figures())) << program->output();
    }
    EXPECT_TRUE(first.secondsToEnd(SIGTERM));
    expectPromptEnd(second, SIGTERM);
    expectRightDump();
}

TEST_F(Watch, EndsWhenNobodyReadsIt) {
    make(20, 100'000);
    const ProgramRun left =
        run({"--watch"}, user, R"({ timeout 20 "$0" "$@"; echo $? >&2; } | head -1)");
    EXPECT_EQ(left.output, "Codex  reading…\n");
    EXPECT_EQ(left.error, "0\n");
    const ProgramRun full = run({"--watch"}, user, R"(exec timeout 20 "$0" "$@" > /dev/full)");
    EXPECT_EQ(full.status, 0);
    expectNothingRuns();
}

TEST_F(Watch, AReaderThatStopsDoesNotHoldIt) {
    make(20, 100'000);
    // What a pipe takes.
    RunningProgram program = start({"--watch"}, user, R"(head -c 65536 /dev/zero; exec "$0" "$@")");
    const fs::path record = data / "desktop-widget-snapshot-v1.json";
    for (int i = 0; i < 500 && !fs::exists(record); ++i) std::this_thread::sleep_for(10ms);
    std::this_thread::sleep_for(300ms);  // by then it only waits
    EXPECT_TRUE(fs::exists(record) && program.prints(figures()));
    expectPromptEnd(program, SIGTERM);
}

TEST_F(Watch, TellsOfARecoveryWhenItIsConfirmed) {
    make(1, 1'000);
    const auto show = [&, reset = std::llround(Date::now().secondsSince1970()) + 9'000](int used) {
        installCodex(codexScript(fmt::format(
            R"(quota() {{ echo '{{"id":'$1',"result":{{"accountId":"fixture-account","rateLimits":{{'\
'"primary":{{"usedPercent":{},"windowDurationMins":300,"resetsAt":{}}}}},'\
'"rateLimitResetCredits":{{"availableCount":2}}}}}}'; }})",
            used, reset)));
        RunningProgram program = watch();
        EXPECT_TRUE(program.prints(figures())) << program.output();
        expectPromptEnd(program, SIGTERM);
        return program.output();
    };
    const std::string news =
        "Good news! Bromo, the Greek god of Reset has restored your usage quota\n";
    EXPECT_EQ(show(60).find(news), std::string::npos);
    // The jump that the first of two reads has seen, long enough ago.
    QuotaEarlyRecoveryStateStore kept(UserDefaults(home / ".config/Vantry", "Vantry"));
    auto state = kept.load();
    ASSERT_TRUE(state.baseline);
    state.baseline->capturedAt = state.baseline->capturedAt - 60;
    auto& pending = state.pending.emplace();
    pending.previous = pending.candidate = *state.baseline;
    pending.candidate.remainingPercent = 100;
    pending.candidate.capturedAt = pending.previous.capturedAt + 30;
    pending.confirmNotBefore = pending.candidate.capturedAt + 15;
    ASSERT_TRUE(kept.save(state, Date::now()));
    EXPECT_NE(show(0).find(news), std::string::npos);
    kept.save(state, Date::now());
    EXPECT_EQ(show(0).find(news), std::string::npos) << "told twice";
}

TEST_F(Watch, RewritesItsLineOnATerminal) {
    make(20, 100'000);
    const FileDescriptor terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(::grantpt(terminal.number()) == 0 && ::unlockpt(terminal.number()) == 0);
    const auto setColumns = [&](unsigned short columns) {
        const winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        ASSERT_EQ(::ioctl(terminal.number(), TIOCSWINSZ, &size), 0);
    };
    setColumns(40);
    RunningProgram program = watch(" > " + std::string(::ptsname(terminal.number())));
    const std::string erased = "\r\x1B[J";
    const std::string first = "Codex  reading…" + erased;
    std::string shown;
    ASSERT_TRUE(readUntil(terminal, shown, first + "Codex  5h 77% left, ")) << shown;
    setColumns(300);
    program.signal(SIGWINCH);
    ASSERT_TRUE(readUntil(terminal, shown, figures())) << shown;
    const std::string narrow =
        shown.substr(first.size(), shown.find(erased, first.size()) - first.size());
    EXPECT_TRUE(shown.starts_with(first) && narrow.ends_with("…")) << shown;
    EXPECT_EQ(displayWidth(narrow), 40U) << shown;
    EXPECT_EQ(shown.find('\n'), std::string::npos) << shown;
    // A narrower terminal lets the long line go on in rows below it, and stands in the last.
    setColumns(50);
    program.signal(SIGWINCH);
    const std::string narrowed = "A" + erased + "Codex  5h 77% left, ";
    ASSERT_TRUE(readUntil(terminal, shown, narrowed)) << shown;
    const std::size_t wiped = shown.rfind("\x1B[", shown.rfind(narrowed));
    const std::size_t line = shown.rfind("Codex", wiped);
    const std::size_t rows = wrappedRows(shown.substr(line, wiped - line), 50);
    EXPECT_EQ(shown.substr(wiped + 2, 2), std::to_string(rows - 1) + "A") << shown;
    expectPromptEnd(program, SIGHUP);
    EXPECT_TRUE(readUntil(terminal, shown, "\r\n")) << shown;
}
