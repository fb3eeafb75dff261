#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vantry {

/// Fewer bytes than this are not worth the time.
inline constexpr std::size_t worthPacking = 512;

/// The bytes in fewer bytes; nothing when they do not become fewer. Any thread.
std::optional<std::string> compressed(std::string_view bytes);

/// Exactly `size` bytes, or nothing: not for damaged bytes, and not for more or fewer.
std::optional<std::string> decompressed(std::string_view bytes, std::size_t size);

/// Unpacks a Zstandard file of any length, piece by piece. One thread at a time.
class StreamDecompressor {
  public:
    StreamDecompressor();
    StreamDecompressor(StreamDecompressor&&) noexcept;
    StreamDecompressor& operator=(StreamDecompressor&&) noexcept;
    ~StreamDecompressor();

    struct Step {
        std::size_t taken = 0;  ///< bytes of the input
        std::size_t made = 0;   ///< bytes of the output
    };

    /// Takes as much of the input as the output has room for. Nothing for damaged bytes, for a
    /// window above 128 MiB, or without memory.
    std::optional<Step> unpack(std::string_view input, std::span<char> output);

    /// Whether all that was taken ends with a whole frame.
    bool isComplete() const { return isComplete_; }

  private:
    struct State;
    std::unique_ptr<State> state_;
    bool isComplete_ = true;
};

}  // namespace vantry
