#pragma once

namespace vantry::ProjectUsageDetailSelfTest {

bool run();

}  // namespace vantry::ProjectUsageDetailSelfTest
