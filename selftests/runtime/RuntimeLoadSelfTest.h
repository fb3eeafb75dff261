#pragma once

namespace vantry::RuntimeLoadSelfTest {

bool run();

}  // namespace vantry::RuntimeLoadSelfTest
