#pragma once

namespace vantry::CodexExecutableSelfTest {

bool run();

}  // namespace vantry::CodexExecutableSelfTest
