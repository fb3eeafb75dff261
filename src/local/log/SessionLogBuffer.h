#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "platform/JsonReader.h"

namespace vantry::CodexUsageReader {

/// Bytes of a log that were read and not yet taken, with the padding behind them that the parser
/// wants.
class SessionLogBuffer {
  public:
    /// As much as is read at a time, by measurement: half of it costs a third more processor time,
    /// and twice as much gains nothing.
    static constexpr std::size_t chunkBytes = 262'144;

    std::string_view bytes() const { return {memory_.get(), size_}; }

    /// Room behind the bytes, for a chunk at most. Grows where they are a long unfinished line, to
    /// no more than a chunk above `longestLine`.
    std::span<char> room(std::size_t longestLine) {
        if (size_ > capacity_ / 2) {
            const bool isLast = longestLine < 2 * capacity_;
            growTo(isLast ? longestLine + chunkBytes : 2 * capacity_);
        }
        return {memory_.get() + size_, std::min(chunkBytes, capacity_ - size_)};
    }

    /// That many bytes of the room are filled.
    void add(std::size_t count) { size_ += count; }

    /// Takes bytes off the front.
    void drop(std::size_t count) {
        size_ -= count;
        std::memmove(memory_.get(), memory_.get() + count, size_);
    }

    void clear() { size_ = 0; }

    /// Whether a long line made it large.
    bool isLarge() const { return capacity_ > chunkBytes; }

  private:
    static std::unique_ptr<char[]> memoryOf(std::size_t capacity) {
        return std::make_unique_for_overwrite<char[]>(capacity + JsonParser::padding);
    }

    void growTo(std::size_t capacity) {
        if (capacity <= capacity_) return;
        auto larger = memoryOf(capacity);
        std::memcpy(larger.get(), memory_.get(), size_);
        memory_ = std::move(larger);
        capacity_ = capacity;
    }

    std::unique_ptr<char[]> memory_ = memoryOf(chunkBytes);
    std::size_t capacity_ = chunkBytes;
    std::size_t size_ = 0;
};

/// What reading logs needs, kept from one log to the next. One thread at a time.
struct SessionLogWorkspace {
    SessionLogBuffer buffer;
    JsonParser parser;

    /// Ready for the next log. The memory that a long line took is given back.
    void clear() {
        if (buffer.isLarge()) *this = {};
        buffer.clear();
    }
};

}  // namespace vantry::CodexUsageReader
