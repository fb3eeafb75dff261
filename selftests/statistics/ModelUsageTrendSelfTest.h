#pragma once

namespace vantry::ModelUsageTrendSelfTest {

bool run();

}  // namespace vantry::ModelUsageTrendSelfTest
