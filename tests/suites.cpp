#include <iostream>
#include <string_view>

#include "selftests/SelfTestModes.h"

using namespace vantry;

/// Runs every suite that is built once, or the one whose subject is the argument. Ends with 1 when
/// one fails or none runs.
int main(int argc, char** argv) {
    const std::string_view wanted = argc > 1 ? argv[1] : "";
    bool passed = true;
    int count = 0;
    for (const SelfTestMode& mode : selfTestModes()) {
        for (const SelfTestSuite& suite : mode.suites) {
            if (!suite.run || (!wanted.empty() && suite.subject != wanted)) continue;
            ++count;
            passed = suite.passes() && passed;
        }
    }
    if (count == 0) std::cerr << "no suite is built for \"" << wanted << "\"" << std::endl;
    return passed && count > 0 ? 0 : 1;
}
