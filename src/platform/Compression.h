#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vantry {

/// The bytes in fewer bytes; nothing when they do not become fewer. Any thread.
std::optional<std::string> compressed(std::string_view bytes);

/// Exactly `size` bytes, or nothing: not for damaged bytes, and not for more or fewer.
std::optional<std::string> decompressed(std::string_view bytes, std::size_t size);

}  // namespace vantry
