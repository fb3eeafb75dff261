#pragma once

/// The bounded process runner and the child handle under it, against a script that misbehaves.
namespace vantry::BoundedProcessRunnerSelfTest {

bool run();

}
