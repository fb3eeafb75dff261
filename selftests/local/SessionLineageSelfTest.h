#pragma once

namespace vantry::SessionLineageSelfTest {

bool run();

}  // namespace vantry::SessionLineageSelfTest
