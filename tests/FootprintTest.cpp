#include "support/Program.h"

using namespace vantry;

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
    run({}, all);
    const std::filesystem::path state = root() / "home/.local/state";
    const std::string text = wholeFile(state / "Logs/Vantry/Vantry.log");
    EXPECT_TRUE(text.ends_with("/vantry-desktop\n")) << text;
    EXPECT_EQ(std::filesystem::status(state).permissions(), std::filesystem::perms(0700));
    EXPECT_TRUE(std::filesystem::is_empty(root() / "user"));
}

// Least of all may a document land in a file that was given the number of a closed stream.
TEST_F(Footprint, StreamsThatAreClosedDoNoHarm) {
    const auto before = tree();
    for (const char* line : {
             R"(exec "$0" --dump-json >&-)",
             R"(exec "$0" --dump-json <&- >&- 2>&-)",
             R"(exec "$0" --dump-json >/dev/full)",
             R"(exec "$0" --self-test-json-dump >&-)",
             R"({ { "$0" --dump-json; echo $? >&3; } | :; } 3>&1 | { read -r s; exit $s; })",
         }) {
        EXPECT_EQ(run({}, {}, line).status, 0) << line;
        EXPECT_EQ(tree(), before) << line;
    }
    expectFacts(run({}, {}, R"(exec "$0" --dump-json <&- 2>&-)").output,
                {{"runtimes.0.status", "available"}});
}
