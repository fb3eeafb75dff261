#include "local/SessionLogStream.h"

#include <algorithm>
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

// Takes the finished lines out of the buffer; the number of bytes that they held.
std::optional<std::int64_t> takeLines(LineBuffer& buffer, const SessionParserBudget& budget,
                                      ParsedSessionUsage& usage, JsonParser& parser) {
    std::int64_t consumed = 0;
    while (const auto line = buffer.nextLine()) {
        if (line->size() > budget.limits().maxLineBytes || !budget.isInTime() ||
            !processSessionLine(*line, usage, parser)) {
            return std::nullopt;
        }
        consumed += static_cast<std::int64_t>(line->size()) + 1;
        buffer.consumeLine();
    }
    if (buffer.rest().size() > budget.limits().maxLineBytes || !budget.isInTime()) {
        return std::nullopt;
    }
    return consumed;
}

// A last line without its newline: whole, or of no interest, or the log cannot be told.
std::optional<std::int64_t> takeLastLine(std::string_view line, ParsedSessionUsage& usage,
                                         JsonParser& parser) {
    // A long one of no interest is left where it is, for parsing takes many times its room.
    constexpr std::size_t longest = 262'144;
    if (line.empty() || (line.size() > longest && !mayBeRelevant(line))) return 0;
    if (!parser.parsePadded(line)) {
        if (mayBeRelevant(line)) return std::nullopt;
        return 0;
    }
    if (!processSessionLine(line, usage, parser)) return std::nullopt;
    return static_cast<std::int64_t>(line.size());
}

}  // namespace

std::optional<std::int64_t> streamSessionLines(const SessionLogStretch& stretch,
                                               const SessionParserBudget& budget,
                                               ParsedSessionUsage& usage) {
    if (stretch.byteCount > budget.limits().maxReadBytes) return std::nullopt;
    LineBuffer buffer;
    JsonParser parser;
    std::int64_t consumed = 0;
    for (std::int64_t left = stretch.byteCount; left > 0;) {
        if (!budget.isInTime()) return std::nullopt;
        const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(left, chunkBytes));
        const auto count = RegularFileReader::read(stretch.file, buffer.room(wanted));
        if (!count || *count == 0) return std::nullopt;
        left -= static_cast<std::int64_t>(*count);
        buffer.added(*count);
        const auto lines = takeLines(buffer, budget, usage, parser);
        if (!lines) return std::nullopt;
        consumed += *lines;
    }
    const auto last = takeLastLine(buffer.rest(), usage, parser);
    if (!last || !budget.isInTime()) return std::nullopt;
    return consumed + *last;
}

}  // namespace vantry::CodexUsageReader
