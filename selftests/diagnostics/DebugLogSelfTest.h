#pragma once

/// The debug log: where a line goes, and all the places where it must not go.
namespace vantry::DebugLogSelfTest {

bool run();

}
