#include <csignal>
#include <fstream>
#include <thread>

#include "platform/Sha256.h"
#include "support/Program.h"

using namespace vantry;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

class Read : public ProgramTest {
  protected:
    /// A codex that leaves its process number in pidFile().
    std::string signingCodex(const std::string& changes = "") const {
        return codexScript(changes + "\necho $$ > '" + pidFile().string() + "'");
    }
    fs::path pidFile() const { return root() / "codex-pid"; }
};

// Neither home has a database of threads: the prepared one none for the usage, the user's own none
// for the task board.
const std::vector<std::string> localMessages{"未找到 Codex state_5.sqlite",
                                             "任务看板未找到 SQLite 数据源"};

const std::map<std::string, std::string> wholeAccount{
    {"runtimes", "size 1"},
    {"runtimes.0.status", "available"},
    {"runtimes.0.snapshot.primary.remainingPercent", "77"},
    {"aggregate.secondary.remainingPercent", "59.5"},
    {"compat.codex.primary.resetsAt", "2100-01-01T00:00:00Z"},
    {"compat.codex.credits.balance", "12.50"},
    {"compat.codex.credits.resetCredits", "2"},
    {"compat.codex.account.planType", "plus"},
    {"compat.codex.account.emailPresent", "true"},
    {"compat.codex.accountIdentity", "codex-account:" + sha256Hex("fixture-account")},
    {"compat.codex.officialUsageReadStatus", "succeeded"},
    {"compat.codex.readerState.appServer", "responded"},
    {"compat.codex.officialLifetimeTokens", "999"},
    {"compat.codex.messages", "size 2"},
    {"compat.codex.messages.0", localMessages[0]},
    {"compat.codex.messages.1", localMessages[1]}};

TEST_F(Read, ShowsTheAccountWithoutItsNames) {
    // Neither a codex that does not end nor what it has started is left behind.
    installCodex(
        codexScript("(trap '' TERM; exec sleep 60) > /dev/null 2>&1 &\n"
                    "trap '' TERM\nfinish() { exec sleep 60; }"));
    const std::string whole = dump();
    expectNothingRuns();
    expectFacts(whole, wholeAccount);
    EXPECT_EQ(whole.find('@'), std::string::npos);
    EXPECT_EQ(whole.find("fixture-account"), std::string::npos);
    expectFacts(run({"--dump-probe-summary"}).output,
                {{"runtimes.0.status", "available"}, {"runtimes.0.quotaAvailable", "true"}});
}

TEST_F(Read, SaysWhatIsMissingAndShowsNoZero) {
    // What, the codex or none, the state and the messages.
    using Case = std::tuple<const char*, std::string, const char*, std::vector<std::string>>;
    const Case cases[] = {
        {"no codex", "", "executableMissing", {"VANTRY_CODEX_PATH 指向的程序无法运行"}},
        {"signed out",
         codexScript("account() { echo '{\"id\":2,\"result\":{\"account\":null}}'; }\n"
                     "quota() { failure $1; }\nusage() { failure 4; }"),
         "failed",
         {"app-server 3: sign in first", "app-server 4: sign in first",
          "app-server 5: sign in first", "app-server 返回错误"}},
        {"no program", "\177ELF", "failed", {"app-server 启动失败"}},
    };
    for (const auto& [what, codex, state, ofCodex] : cases) {
        SCOPED_TRACE(what);
        if (!codex.empty()) installCodex(codex);
        std::vector<std::string> messages = ofCodex;
        messages.insert(messages.end(), localMessages.begin(), localMessages.end());
        std::map<std::string, std::string> facts{
            {"runtimes.0.status", "unavailable"},
            {"compat.codex.readerState.appServer", state},
            {"compat.codex.readerState.localDependencyFailure", "databaseMissing"},
            {"compat.codex.messages", "size " + std::to_string(messages.size())}};
        for (std::size_t i = 0; i < messages.size(); ++i) {
            facts["compat.codex.messages." + std::to_string(i)] = messages[i];
        }
        for (const char* absent : {"account", "accountIdentity", "primary", "secondary", "credits",
                                   "officialLifetimeTokens", "cloudDailyBuckets", "local"}) {
            facts[std::string("compat.codex.").append(absent)] = "null";
        }
        expectFacts(dump(), facts);
    }
}

TEST_F(Read, ReadsTheFoldersThatItsCodexReads) {
    const fs::path moved = root() / "moved";
    const fs::path target = root() / "target";
    const fs::path seen = root() / "seen";
    installCodex(codexScript("echo $CODEX_HOME $CODEX_SQLITE_HOME > " + seen.string()));
    fs::create_directory(target);
    fs::create_directory_symlink(target, moved);  // Codex looks where CODEX_HOME leads
    DatabaseWriter(moved / "state_6.sqlite")
        .run("CREATE TABLE threads (id, rollout_path, updated_at);");
    Variables variables{{"CODEX_HOME", moved}, {"CODEX_SQLITE_HOME", moved}};
    const fs::path own = root() / "home/.codex";
    const std::tuple<fs::path, fs::path, const char*> cases[] = {{own, own, "databaseMissing"},
                                                                 {target, moved, "null"}};
    for (const auto& [home, databases, failure] : cases) {
        expectFacts(dump(variables), {{"compat.codex.readerState.localDependencyFailure", failure},
                                      {"compat.codex.readerState.appServer", "responded"}});
        std::string line;
        std::getline(std::ifstream(seen), line);
        EXPECT_EQ(line, home.string() + " " + databases.string());
        variables["VANTRY_HOME_OVERRIDE"] = "";
    }
    variables["VANTRY_CODEX_PATH"] = moved;
    expectFacts(dump(variables), {{"compat.codex.readerState.appServer", "executableMissing"}});
}

TEST_F(Read, TheFilterLimitsTheRuntimes) {
    installCodex(signingCodex());
    const Variables other{{"VANTRY_RUNTIME_FILTER", "other"}};
    expectFacts(dump(other), {{"runtimes", "size 0"},
                              {"compat.codex.primary", "missing"},
                              {"aggregate.primary.usedPercent", "missing"},
                              {"aggregate.messages", "size 1"}});
    const ProgramRun summary = run({"--dump-probe-summary"}, other);
    expectFacts(summary.output, {{"runtimeCount", "0"}});
    EXPECT_NE(summary.error.find("VANTRY_RUNTIME_FILTER"), summary.error.npos) << summary.error;
    EXPECT_FALSE(fs::exists(pidFile()));
    RunningProgram watch = start({"--watch"}, other);
    EXPECT_TRUE(watch.prints("Nothing to read: ")) << watch.output();
}

TEST_F(Read, ASignalEndsItWithAllThatItStarted) {
    const std::pair<int, const char*> cases[] = {
        {SIGINT, "trap '' TERM\nquota() { exec sleep 60; }"},
        {SIGHUP, "(trap '' TERM; exec sleep 60) > /dev/null 2>&1 &\nquota() { sleep 60; }"},
        {SIGTERM, "sleep 60 &\nusage() { exit; }"}};
    for (const auto& [signal, changes] : cases) {
        for (const char* mode : {"--dump-json", "--dump-probe-summary", "--watch"}) {
            SCOPED_TRACE(std::string(mode) + ": " + changes);
            fs::remove(pidFile());
            installCodex(signingCodex(changes));
            RunningProgram program = start({mode});
            for (int i = 0; i < 500 && !fs::exists(pidFile()); ++i)
                std::this_thread::sleep_for(10ms);
            std::this_thread::sleep_for(100ms);
            expectPromptEnd(program, signal);
        }
    }
}
