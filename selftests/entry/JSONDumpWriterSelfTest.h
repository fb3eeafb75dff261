#pragma once

namespace vantry::JSONDumpWriterSelfTest {

bool run();

}  // namespace vantry::JSONDumpWriterSelfTest
