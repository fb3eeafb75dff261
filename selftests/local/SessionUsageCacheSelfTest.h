#pragma once

/// The cache of session logs: its entries' bytes, its file, the files it speaks of and the choice
/// of those to look at.
namespace vantry::SessionUsageCacheSelfTest {

bool run();

}  // namespace vantry::SessionUsageCacheSelfTest
