#pragma once

namespace vantry::PlatformSelfTest {

bool run();

}  // namespace vantry::PlatformSelfTest
