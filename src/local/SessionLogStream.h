#pragma once

#include <cstdint>
#include <optional>

#include "local/SessionLineParser.h"
#include "local/SessionReadLimits.h"
#include "platform/FileDescriptor.h"

namespace vantry::CodexUsageReader {

/// A stretch of an open log, from the descriptor's position on.
struct SessionLogStretch {
    const FileDescriptor& file;
    std::int64_t byteCount = 0;
};

/// Reads the stretch in chunks of 64 KiB and takes its lines into `usage`, within the budget's
/// read, line and time limits. Gives the number of bytes that were consumed as lines: all of them,
/// or all but an unfinished last line of no interest. Nothing for a stretch that is cut short,
/// passes a limit or holds a damaged line; `usage` is then not used any more.
std::optional<std::int64_t> streamSessionLines(const SessionLogStretch& stretch,
                                               const SessionParserBudget& budget,
                                               ParsedSessionUsage& usage);

}  // namespace vantry::CodexUsageReader
