#pragma once

#include <string_view>

/// What the program calls itself.
namespace vantry::application {

inline constexpr std::string_view displayName = "Vantry";
inline constexpr std::string_view version = "0.1.1";

}  // namespace vantry::application
