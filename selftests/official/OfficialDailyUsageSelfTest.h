#pragma once

namespace vantry::OfficialDailyUsageSelfTest {

bool run();

}  // namespace vantry::OfficialDailyUsageSelfTest
