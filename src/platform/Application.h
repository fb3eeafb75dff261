#pragma once

#include <string_view>

/// What the program calls itself.
namespace vantry::application {

inline constexpr std::string_view displayName = "Vantry";
/// Under which the desktop knows it.
inline constexpr std::string_view bundleIdentifier = "com.orvale.vantry.desktopapp";
inline constexpr std::string_view version = "0.1.1";

}  // namespace vantry::application
