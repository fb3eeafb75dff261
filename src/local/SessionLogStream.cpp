#include "local/SessionLogStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "io/RegularFileReader.h"

namespace vantry::CodexUsageReader {

namespace {

constexpr std::size_t chunkBytes = 65'536;

/// Bytes that were read and not yet consumed, with room behind them for the parser's padding.
class LineBuffer {
  public:
    /// Room for one more chunk.
    std::span<char> room(std::size_t bytes) {
        if (begin_ > 0 && end_ + bytes + JsonParser::padding > bytes_.size()) {
            std::memmove(bytes_.data(), bytes_.data() + begin_, end_ - begin_);
            scanned_ -= begin_;
            end_ -= begin_;
            begin_ = 0;
        }
        const std::size_t needed = end_ + bytes + JsonParser::padding;
        if (needed > bytes_.size()) bytes_.resize(std::max(needed, 2 * bytes_.size()));
        return {bytes_.data() + end_, bytes};
    }

    void added(std::size_t bytes) { end_ += bytes; }

    /// The next finished line, without its newline; nothing if there is none yet. What was looked
    /// through once is not looked through again.
    std::optional<std::string_view> nextLine() {
        const void* newline = std::memchr(bytes_.data() + scanned_, '\n', end_ - scanned_);
        if (newline == nullptr) {
            scanned_ = end_;
            return std::nullopt;
        }
        const auto at = static_cast<std::size_t>(static_cast<const char*>(newline) - bytes_.data());
        scanned_ = at;
        return std::string_view(bytes_.data() + begin_, at - begin_);
    }

    void consumeLine() { begin_ = ++scanned_; }

    std::string_view rest() const { return {bytes_.data() + begin_, end_ - begin_}; }

  private:
    std::vector<char> bytes_ = std::vector<char>(2 * chunkBytes + JsonParser::padding);
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t scanned_ = 0;
};

// Takes the finished lines out of the buffer and adds up the bytes that they held.
SessionLogTrouble takeLines(LineBuffer& buffer, const SessionParserBudget& budget,
                            ParsedSessionUsage& usage, JsonParser& parser, std::int64_t& consumed) {
    const std::size_t longest = budget.limits().maxLineBytes;
    while (const auto line = buffer.nextLine()) {
        if (line->size() > longest) return SessionLogTrouble::tooLarge;
        if (!budget.isInTime()) return SessionLogTrouble::timeRanOut;
        if (processSessionLine(*line, usage, parser) == SessionLineOutcome::invalid) {
            return SessionLogTrouble::damaged;
        }
        consumed += static_cast<std::int64_t>(line->size()) + 1;
        buffer.consumeLine();
    }
    if (buffer.rest().size() > longest) return SessionLogTrouble::tooLarge;
    return budget.isInTime() ? SessionLogTrouble::none : SessionLogTrouble::timeRanOut;
}

// A last line that lacks nothing but its end is whole; any other is not there yet.
SessionLogTrouble takeLastLine(std::string_view line, ParsedSessionUsage& usage, JsonParser& parser,
                               std::int64_t& consumed) {
    if (!mayBeRelevant(line)) return SessionLogTrouble::none;
    const auto root = parser.parsePadded(line);
    if (!root || !root->isObject()) return SessionLogTrouble::none;
    if (processSessionLine(line, usage, parser) == SessionLineOutcome::invalid) {
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
            packed_.resize(chunkBytes);
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
    SessionStretchReading reading;
    const std::int64_t most = budget.limits().maxReadBytes;
    if (stretch.byteCount > most) return {.trouble = SessionLogTrouble::tooLarge};
    SessionLogBytes bytes(stretch.file, stretch.isCompressed);
    LineBuffer buffer;
    JsonParser parser;
    for (std::int64_t left = stretch.isCompressed ? most : stretch.byteCount; left > 0;) {
        if (!budget.isInTime()) return {.trouble = SessionLogTrouble::timeRanOut};
        const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(left, chunkBytes));
        errno = 0;
        const auto count = bytes.read(buffer.room(wanted));
        if (stretch.isCompressed && count == 0) break;
        if (!count || *count == 0) return {.trouble = troubleOfRead(stretch)};
        left -= static_cast<std::int64_t>(*count);
        if (stretch.isCompressed && left == 0) return {.trouble = SessionLogTrouble::tooLarge};
        buffer.added(*count);
        reading.trouble = takeLines(buffer, budget, usage, parser, reading.consumed);
        if (reading.trouble != SessionLogTrouble::none) return reading;
    }
    reading.trouble = takeLastLine(buffer.rest(), usage, parser, reading.consumed);
    if (!budget.isInTime()) reading.trouble = SessionLogTrouble::timeRanOut;
    if (usage.lines.isNoLog()) reading.trouble = SessionLogTrouble::damaged;
    return reading;
}

}  // namespace vantry::CodexUsageReader
