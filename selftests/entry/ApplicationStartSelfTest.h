#pragma once

namespace vantry::ApplicationStartSelfTest {

bool run();

}  // namespace vantry::ApplicationStartSelfTest
