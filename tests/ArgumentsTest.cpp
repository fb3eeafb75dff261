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
        // No mode is asked for here, and a program file outside an application opens nothing.
        {{}, ""},
        {{"--codex-lifecycle-launch"}, ""},
        {{"--self-test-json-dump=1", "-dump-json", "dump-json", "--dump", "--help"}, ""},
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
