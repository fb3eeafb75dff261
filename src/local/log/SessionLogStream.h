#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "local/log/SessionLineParser.h"
#include "local/log/SessionLogBuffer.h"
#include "local/log/SessionReadLimits.h"
#include "platform/Compression.h"
#include "platform/FileDescriptor.h"

namespace vantry::CodexUsageReader {

/// Why a log gives no figures.
enum class SessionLogTrouble : std::uint8_t {
    none,
    absent,
    notRegular,  ///< a folder, a pipe, a link
    outside,     ///< not below the folders that may be touched
    unreadable,  ///< the system refuses it
    damaged,     ///< lines or a frame that cannot be, or too much that is no JSON
    tooLarge,    ///< a line or the file passes its limit
    changed,     ///< shorter or another file than a moment before
    timeRanOut,
    outOfResources,  ///< descriptors or memory
};

/// The bytes of a log, unpacked where it is compressed. Blocks; one thread at a time.
class SessionLogBytes {
  public:
    /// From the descriptor's position on; `file` outlives this.
    SessionLogBytes(const FileDescriptor& file, bool isCompressed);

    /// Reads on, at most as much as `buffer` holds. The number of bytes, 0 at the end; nothing on
    /// an error, and for a compressed log that is damaged or ends inside a frame.
    std::optional<std::size_t> read(std::span<char> buffer);

  private:
    const FileDescriptor& file_;
    std::optional<StreamDecompressor> decompressor_;
    std::string packed_;
    std::size_t packedAt_ = 0;
    bool isAtEnd_ = false;
};

/// A stretch of an open log: what the workspace's buffer holds of it already, and what follows from
/// the descriptor's position on.
struct SessionLogStretch {
    const FileDescriptor& file;
    /// All bytes of it; a compressed log is read to its end, wherever that is.
    std::int64_t byteCount = 0;
    bool isCompressed = false;
    SessionLogWorkspace& workspace;
};

struct SessionStretchReading {
    std::int64_t consumed = 0;  ///< bytes of whole lines, unpacked
    SessionLogTrouble trouble = SessionLogTrouble::none;
};

/// Reads the stretch in chunks and takes its finished lines into `usage`, within the budget's read,
/// line and time limits. A last line without its end counts if it is a whole object; else it is not
/// there yet, whatever it holds. After a trouble `usage` is not used any more.
SessionStretchReading streamSessionLines(const SessionLogStretch& stretch,
                                         const SessionParserBudget& budget,
                                         ParsedSessionUsage& usage);

}  // namespace vantry::CodexUsageReader
