#pragma once

namespace vantry::SessionParserBudgetSelfTest {

bool run();

}  // namespace vantry::SessionParserBudgetSelfTest
