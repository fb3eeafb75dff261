#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "corpus/Clock.h"
#include "corpus/SessionPlan.h"
#include "platform/FileDescriptor.h"

namespace vantry::corpus {

/// A log that is being written, line by line.
///
/// Every function throws std::runtime_error if the file takes no more.
class RolloutLog {
  public:
    /// Makes the file with the folders above it. Lines are numbered from `firstOrdinal`, if the
    /// format numbers them.
    RolloutLog(const std::filesystem::path& path, LogFormat format, std::int64_t firstOrdinal);

    /// Begins a line up to its payload's opening brace.
    void begin(std::string_view type, Millis at) { begin(type, timestampText(at)); }
    void begin(std::string_view type, const std::string& timestamp);

    /// Appends texts, which are written as they are, and integers.
    template <class... Parts>
    void add(const Parts&... parts) {
        (append(parts), ...);
    }

    /// Closes the payload and the line.
    void end() { endLine("}}"); }

    /// Closes a line of which `closing` is what is missing.
    void endLine(std::string_view closing);

    /// A whole line, as it is but for its number. `object` begins with a brace.
    void addLine(std::string_view object);

    /// Leaves so many bytes out of the file, where they take no room and are read as zeros.
    /// Something must follow.
    void addHole(std::int64_t bytes);

    /// Takes the line feed of the last line back.
    void dropLineFeed() { buffer_.pop_back(); }

    std::int64_t ordinal() const { return ordinal_; }
    std::int64_t offset() const { return flushed_ + static_cast<std::int64_t>(buffer_.size()); }
    LogFormat format() const { return format_; }

    /// Writes what is left and gives the file the time of its last event.
    void close(Millis modifiedAt);

  private:
    void append(std::string_view text);
    void append(std::integral auto number) {
        char digits[24];
        const auto [end, error] = std::to_chars(digits, digits + sizeof(digits), number);
        buffer_.append(digits, end);
    }
    void flush();

    FileDescriptor file_;
    LogFormat format_;
    std::int64_t ordinal_;
    std::int64_t flushed_ = 0;
    std::string buffer_;
};

}  // namespace vantry::corpus
