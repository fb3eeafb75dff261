#pragma once

#include <functional>
#include <string_view>
#include <vector>

namespace vantry {

/// One suite of a mode. A suite that is not built yet has no `run` and fails.
struct SelfTestSuite {
    std::string_view subject;
    std::function<bool()> run;

    /// Runs it; a suite that throws has failed. Prints what it says.
    bool passes() const;
};

/// One `--self-test-*` argument with its suites.
struct SelfTestMode {
    std::string_view argument;
    std::vector<SelfTestSuite> suites;

    /// Whether every suite is built.
    bool isComplete() const;

    /// Runs every suite, also after one has failed. True when all of them passed.
    bool run() const;
};

/// In the order in which arguments are tested; the first mode given wins.
const std::vector<SelfTestMode>& selfTestModes();

}  // namespace vantry
