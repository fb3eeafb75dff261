#pragma once

namespace vantry::AppServerSessionSelfTest {

bool run();

}  // namespace vantry::AppServerSessionSelfTest
