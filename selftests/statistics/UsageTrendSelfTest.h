#pragma once

namespace vantry::UsageTrendSelfTest {

bool run();

}  // namespace vantry::UsageTrendSelfTest
