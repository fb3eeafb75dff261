#pragma once

#include <string>
#include <string_view>

namespace vantry {

/// The SHA-256 of the bytes as 64 lower-case hexadecimal digits. Any thread.
std::string sha256Hex(std::string_view bytes);

}  // namespace vantry
