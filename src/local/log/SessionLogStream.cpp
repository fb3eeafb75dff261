#include "local/log/SessionLogStream.h"

#include <cerrno>
#include <string_view>

#include "io/RegularFileReader.h"
#include "local/log/SessionLineFinder.h"

namespace vantry::CodexUsageReader {

namespace {

constexpr std::size_t packedChunkBytes = 65'536;

// Takes the finished lines out of the buffer and adds up the bytes that they held.
SessionLogTrouble takeLines(SessionLogWorkspace& workspace, const SessionParserBudget& budget,
                            ParsedSessionUsage& usage, std::int64_t& consumed) {
    SessionLogBuffer& buffer = workspace.buffer;
    const std::size_t longest = budget.limits().maxLineBytes;
    const std::size_t finished = bytesOfFinishedLines(buffer.bytes());
    const std::size_t sound = bytesOfLinesWithin(buffer.bytes().substr(0, finished), longest);
    std::string_view lines = buffer.bytes().substr(0, sound);
    while (const auto line = takeRelevantLine(lines)) {
        if (!budget.isInTime()) return SessionLogTrouble::timeRanOut;
        if (processRelevantLine(*line, usage, workspace.parser) == SessionLineOutcome::invalid) {
            return SessionLogTrouble::damaged;
        }
    }
    if (sound < finished || buffer.bytes().size() - finished > longest) {
        return SessionLogTrouble::tooLarge;
    }
    consumed += static_cast<std::int64_t>(finished);
    buffer.drop(finished);
    return budget.isInTime() ? SessionLogTrouble::none : SessionLogTrouble::timeRanOut;
}

// A last line that lacks nothing but its end is whole; any other is not there yet.
SessionLogTrouble takeLastLine(std::string_view line, ParsedSessionUsage& usage, JsonParser& parser,
                               std::int64_t& consumed) {
    if (!mayBeRelevant(line)) return SessionLogTrouble::none;
    const auto root = parser.parsePadded(line);
    if (!root || !root->isObject()) return SessionLogTrouble::none;
    if (processRelevantLine(line, usage, parser) == SessionLineOutcome::invalid) {
        return SessionLogTrouble::damaged;
    }
    consumed += static_cast<std::int64_t>(line.size());
    return SessionLogTrouble::none;
}

SessionLogTrouble troubleOfRead(const SessionLogStretch& stretch) {
    if (errno == ENOMEM) return SessionLogTrouble::outOfResources;
    if (stretch.isCompressed) return SessionLogTrouble::damaged;
    return errno == 0 ? SessionLogTrouble::changed : SessionLogTrouble::unreadable;
}

}  // namespace

SessionLogBytes::SessionLogBytes(const FileDescriptor& file, bool isCompressed) : file_(file) {
    if (isCompressed) decompressor_.emplace();
}

std::optional<std::size_t> SessionLogBytes::read(std::span<char> buffer) {
    if (!decompressor_) return RegularFileReader::read(file_, buffer);
    while (true) {
        if (packedAt_ == packed_.size() && !isAtEnd_) {
            packed_.resize(packedChunkBytes);
            const auto count = RegularFileReader::read(file_, packed_);
            if (!count) return std::nullopt;
            packed_.resize(*count);
            packedAt_ = 0;
            isAtEnd_ = *count == 0;
        }
        const auto step =
            decompressor_->unpack(std::string_view(packed_).substr(packedAt_), buffer);
        if (!step) return std::nullopt;
        packedAt_ += step->taken;
        if (step->made > 0) return step->made;
        if (!isAtEnd_ || step->taken > 0) continue;
        if (!decompressor_->isComplete()) return std::nullopt;
        return 0;
    }
}

SessionStretchReading streamSessionLines(const SessionLogStretch& stretch,
                                         const SessionParserBudget& budget,
                                         ParsedSessionUsage& usage) {
    const std::int64_t most = budget.limits().maxReadBytes;
    if (stretch.byteCount > most) return {.trouble = SessionLogTrouble::tooLarge};
    SessionLogBytes bytes(stretch.file, stretch.isCompressed);
    SessionLogBuffer& buffer = stretch.workspace.buffer;
    const auto held = static_cast<std::int64_t>(buffer.bytes().size());
    std::int64_t left = stretch.isCompressed ? most : stretch.byteCount - held;
    SessionStretchReading reading;
    reading.trouble = takeLines(stretch.workspace, budget, usage, reading.consumed);
    while (reading.trouble == SessionLogTrouble::none && left > 0) {
        std::span<char> room = buffer.room(budget.limits().maxLineBytes);
        if (left < static_cast<std::int64_t>(room.size())) {
            room = room.first(static_cast<std::size_t>(left));
        }
        errno = 0;
        const auto count = bytes.read(room);
        if (stretch.isCompressed && count == 0) break;
        if (!count || *count == 0) return {.trouble = troubleOfRead(stretch)};
        left -= static_cast<std::int64_t>(*count);
        if (stretch.isCompressed && left == 0) return {.trouble = SessionLogTrouble::tooLarge};
        buffer.add(*count);
        reading.trouble = takeLines(stretch.workspace, budget, usage, reading.consumed);
    }
    if (reading.trouble != SessionLogTrouble::none) return reading;
    reading.trouble =
        takeLastLine(buffer.bytes(), usage, stretch.workspace.parser, reading.consumed);
    if (!budget.isInTime()) reading.trouble = SessionLogTrouble::timeRanOut;
    if (usage.lines.isNoLog()) reading.trouble = SessionLogTrouble::damaged;
    return reading;
}

}  // namespace vantry::CodexUsageReader
