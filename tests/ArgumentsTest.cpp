#include "selftests/SelfTestModes.h"
#include "support/Program.h"

using namespace vantry;

class Arguments : public ProgramTest {};

TEST_F(Arguments, TheEarlierModeWinsInAnyOrder) {
    const char* const dumpSuite = "JSON dump writer self-test passed\n";
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"--dump-json", "--self-test-json-dump"}, dumpSuite},
        {{"--self-test-json-dump", "--dump-json"}, dumpSuite},
        {{"--self-test-debug-log", "--self-test-json-dump"}, dumpSuite},
        {{"--what", "", "--codex-lifecycle-launch", "--self-test-json-dump"}, dumpSuite},
        {{"--help", "--self-test-json-dump"}, dumpSuite},
        {{"--version"}, "vantry 0.1.1\n"},
    };
    for (const auto& [arguments, output] : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const ProgramRun ended = run(arguments);
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.output, output);
        EXPECT_EQ(ended.error, "");
    }
    expectFacts(run({"--dump-json", "--dump-probe-summary"}).output,
                {{"schemaVersion", "1"}, {"redacted", "true"}, {"aggregate", "missing"}});
}

TEST_F(Arguments, WithoutAModeTheyAreAnswered) {
    for (const char* unknown :
         {"--self-test-json-dump=1", "-dump-json", "dump-json", "--dump", ""}) {
        const ProgramRun ended = run({"--codex-lifecycle-launch", unknown});
        EXPECT_EQ(ended.status, 2);
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.error,
                  "vantry: unknown argument: " + std::string(unknown) + "\nSee vantry --help\n");
    }
    const ProgramRun help = run({"forget-gone", "-h"});
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.output.find("--dump-probe-summary") < help.output.find("task-facts"));
    EXPECT_EQ(run({}).output, help.output);
    EXPECT_NE(run({"--help"}, {{"LANG", "zh_CN.UTF-8"}}).output.find("显示本帮助"),
              std::string::npos);
    const ProgramRun launch = run({"--codex-lifecycle-launch"});
    EXPECT_EQ(launch.status, 1);
    EXPECT_NE(launch.error.find("not installed"), std::string::npos);
}

TEST_F(Arguments, TheApplicationBesideTheProgramIsStarted) {
    const Variables user{{"HOME", root()}, {"PATH", "/usr/bin:/bin"}};
    const auto installed = [&](const std::vector<std::string>& arguments) {
        return run(arguments, user, R"(cp -f "$0" "$HOME/vantry"
printf '#!/bin/sh\necho "desktop $*"\n' > "$HOME/vantry-desktop"
chmod +x "$HOME/vantry-desktop"; exec "$HOME/vantry" "$@")");
    };
    EXPECT_EQ(installed({"--codex-lifecycle-launch"}).output, "desktop --codex-lifecycle-launch\n");
    EXPECT_EQ(installed({}).output, "desktop \n");
    EXPECT_EQ(installed({"--what"}).status, 2);
}

TEST_F(Arguments, AModeThatIsNotBuiltFailsAndNamesEverySuite) {
    for (const SelfTestMode& mode : selfTestModes()) {
        // The widest mode takes many seconds, and its suites are run by themselves.
        if (mode.isComplete() || mode.argument == "--self-test-status-item") continue;
        SCOPED_TRACE(mode.argument);
        std::string expected;
        for (const SelfTestSuite& suite : mode.suites) {
            expected.append(suite.subject)
                .append(suite.run ? " self-test passed\n" : " self-test failed: not built\n");
        }
        const ProgramRun ended = run({std::string(mode.argument)});
        EXPECT_EQ(ended.status, 1);
        EXPECT_EQ(ended.output, expected);
    }
}
