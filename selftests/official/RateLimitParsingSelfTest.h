#pragma once

namespace vantry::RateLimitParsingSelfTest {

/// The parsing of quota replies, and then every other check of the readers. Prints a line a suite.
bool run();

}  // namespace vantry::RateLimitParsingSelfTest
