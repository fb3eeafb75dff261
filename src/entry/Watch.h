#pragma once

namespace vantry {

/// Keeps the figures of this machine up to date without a window, and prints a line whenever what
/// it shows changes; on a terminal the line is written over. Returns the program's exit status
/// once SIGINT, SIGTERM or SIGHUP has come, within half a second even in the middle of a read: the
/// children of that read are ended with it. Call it before the process has other threads.
int runWatch();

}  // namespace vantry
