#pragma once

namespace vantry::AgentUsageAggregatorSelfTest {

bool run();

}  // namespace vantry::AgentUsageAggregatorSelfTest
