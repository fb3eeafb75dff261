#pragma once

namespace vantry {

/// Keeps the figures of this machine up to date without a window, and prints a line whenever what
/// it shows changes; on a terminal the line is written over. Returns the program's exit status
/// once nobody reads any more. SIGINT, SIGTERM and SIGHUP end the process by that signal, within a
/// second or two even in the middle of a read, whose children are ended first. Call it before the
/// process has other threads.
int runWatch();

}  // namespace vantry
