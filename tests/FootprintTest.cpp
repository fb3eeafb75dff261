#include <csignal>
#include <fstream>

#include "support/Program.h"

namespace vantry {

namespace {

class Footprint : public ProgramTest {
  protected:
    Footprint() { installCodex(codexScript()); }
};

TEST_F(Footprint, WritesNothingOutsideTheCache) {
    const auto before = tree();
    for (const char* mode : {"--dump-json", "--dump-probe-summary", "--self-test-debug-log",
                             "--self-test-json-dump", "--codex-lifecycle-launch"}) {
        run({mode});
        EXPECT_EQ(tree(), before) << mode;
    }
}

TEST_F(Footprint, DiagnosticsAreOptInAndStayOffStandardOutput) {
    const auto before = tree();
    run({}, {{"CODEX_USAGE_WIDGET_DEBUG", "true"}});
    EXPECT_EQ(tree(), before);

    const Variables all{{"CODEX_USAGE_WIDGET_DEBUG", "1"},
                        {"VANTRY_PROFILE_READER", "1"},
                        {"XDG_STATE_HOME", root() / "user"}};
    expectFacts(run({"--dump-json"}, all).output, {{"runtimes.0.status", "available"}});
    EXPECT_EQ(run({}, all).output, "");
    std::ifstream log(root() / "home/.local/state/Logs/Vantry/Vantry.log");
    std::string text((std::istreambuf_iterator<char>(log)), {});
    EXPECT_TRUE(text.ends_with(" single instance lock unavailable: missing bundle identifier\n"))
        << text;
    EXPECT_TRUE(std::filesystem::is_empty(root() / "user"));
}

// Least of all may a document land in a file that was given the number of a closed stream.
TEST_F(Footprint, OutputThatNobodyTakesIsNoCrash) {
    const struct {
        const char* line;
        bool mayBreak;  // by the signal of a broken pipe
    } cases[] = {
        {"exec \"$0\" --dump-json >&-", false},
        {"exec \"$0\" --dump-json <&- >&- 2>&-", false},
        {"exec \"$0\" --dump-json >/dev/full", false},
        {"exec \"$0\" --self-test-json-dump >&-", false},
        {"{ { \"$0\" --dump-json; echo $? >&3; } | :; } 3>&1 | { read -r s; exit $s; }", true},
    };
    const auto before = tree();
    for (const auto& entry : cases) {
        SCOPED_TRACE(entry.line);
        const ProgramRun ended = runShell(entry.line);
        const bool broke = entry.mayBreak && ended.status == 128 + SIGPIPE;
        EXPECT_TRUE(ended.status == 0 || broke) << ended.status << ended.error;
        EXPECT_EQ(tree(), before);
    }
}

}  // namespace

}  // namespace vantry
