#pragma once

namespace vantry::TaskSemanticsSelfTest {

bool run();

}  // namespace vantry::TaskSemanticsSelfTest
