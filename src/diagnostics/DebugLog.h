#pragma once

#include <filesystem>
#include <string_view>

#include "platform/Date.h"
#include "platform/Environment.h"

namespace vantry {

/// Appends a line to the debug log when CODEX_USAGE_WIDGET_DEBUG is exactly "1", and does nothing
/// otherwise. Any thread; never fails and never waits for a reader.
void debugLog(std::string_view message);

/// The log is "Logs/Vantry/Vantry.log" below the user's state directory, for that user alone.
///
/// What lies in that place is not trusted: no link is followed from there and nothing but a
/// regular file is written to. A line that cannot be written is lost without a sign.
namespace DebugLogWriter {

/// As debugLog, by another environment.
void write(std::string_view message, const Environment& environment);

struct Line {
    std::string_view message;
    std::filesystem::path libraryDirectory;  ///< must exist; the directories below it are made
    Date now;
};

/// Appends "TIME MESSAGE\n" with the time in ISO 8601. One line at a time in this process.
void append(const Line& line);

}  // namespace DebugLogWriter

}  // namespace vantry
