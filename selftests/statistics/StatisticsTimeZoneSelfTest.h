#pragma once

namespace vantry::StatisticsTimeZoneSelfTest {

bool run();

}  // namespace vantry::StatisticsTimeZoneSelfTest
