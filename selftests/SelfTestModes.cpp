#include "selftests/SelfTestModes.h"

#include <algorithm>
#include <iostream>

#include "selftests/diagnostics/DebugLogSelfTest.h"
#include "selftests/entry/ApplicationStartSelfTest.h"
#include "selftests/entry/JSONDumpWriterSelfTest.h"
#include "selftests/official/RateLimitParsingSelfTest.h"
#include "selftests/statistics/StatisticsTimeZoneSelfTest.h"

namespace vantry {

namespace {

SelfTestSuite notBuilt(std::string_view subject) {
    return {.subject = subject, .run = nullptr};
}

}  // namespace

bool SelfTestMode::isComplete() const {
    return std::ranges::all_of(suites, [](const SelfTestSuite& suite) { return !!suite.run; });
}

bool SelfTestMode::run() const {
    bool passed = true;
    for (const SelfTestSuite& suite : suites) {
        if (suite.run) {
            passed = suite.run() && passed;
        } else {
            std::cout << suite.subject << " self-test failed: not built" << std::endl;
            passed = false;
        }
    }
    return passed;
}

const std::vector<SelfTestMode>& selfTestModes() {
    static const std::vector<SelfTestMode> modes{
        {"--self-test-model-usage",
         {notBuilt("model usage trend"), notBuilt("model usage parser")}},
        {"--self-test-task-facts", {notBuilt("task semantics"), notBuilt("codex session opener")}},
        {"--self-test-status-item",
         {{"rate limit parsing", RateLimitParsingSelfTest::run},
          notBuilt("official daily usage"),
          notBuilt("session parser budget"),
          notBuilt("codex project name parsing"),
          notBuilt("status item"),
          notBuilt("main window shortcut"),
          notBuilt("quota refresh fallback"),
          notBuilt("task board presentation"),
          notBuilt("desktop widget snapshot"),
          notBuilt("window animation clock"),
          notBuilt("dashboard navigation"),
          notBuilt("line chart geometry"),
          notBuilt("quota early recovery")}},
        {"--self-test-statistics-time-zone",
         {{"statistics time zone", StatisticsTimeZoneSelfTest::run}}},
        {"--self-test-personal-usage", {notBuilt("personal usage")}},
        {"--self-test-codex-lifecycle", {notBuilt("codex lifecycle")}},
        {"--self-test-single-instance",
         {{"application start", ApplicationStartSelfTest::run}, notBuilt("single instance")}},
        {"--self-test-json-dump", {{"JSON dump writer", JSONDumpWriterSelfTest::run}}},
        {"--self-test-installation-identity", {notBuilt("installation identity")}},
        {"--self-test-project-usage-detail", {notBuilt("project usage detail")}},
        {"--self-test-debug-log", {{"debug log", DebugLogSelfTest::run}}},
        {"--self-test-privacy-disclosure", {notBuilt("privacy disclosure")}}};
    return modes;
}

}  // namespace vantry
