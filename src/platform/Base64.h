#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vantry {

/// With padding, without line breaks.
std::string base64Text(std::string_view bytes);

/// The bytes; nothing for text that base64Text() does not write.
std::optional<std::string> base64Bytes(std::string_view text);

}  // namespace vantry
