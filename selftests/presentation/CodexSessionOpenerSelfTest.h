#pragma once

namespace vantry::CodexSessionOpenerSelfTest {

bool run();

}  // namespace vantry::CodexSessionOpenerSelfTest
