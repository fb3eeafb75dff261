#pragma once

namespace vantry::TaskBoardPresentationSelfTest {

bool run();

}  // namespace vantry::TaskBoardPresentationSelfTest
