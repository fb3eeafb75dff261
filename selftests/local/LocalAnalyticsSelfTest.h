#pragma once

namespace vantry::LocalAnalyticsSelfTest {

/// A prepared home read as a whole: complete, refused and unchanged batches. Prints the outcome.
bool run();

}  // namespace vantry::LocalAnalyticsSelfTest
