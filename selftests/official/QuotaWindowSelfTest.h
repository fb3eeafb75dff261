#pragma once

namespace vantry::QuotaWindowSelfTest {

bool run();

}  // namespace vantry::QuotaWindowSelfTest
