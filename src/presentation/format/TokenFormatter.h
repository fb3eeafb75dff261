#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vantry::TokenFormatter {

/// The one form of a token number: "--", "999", "1.0K", "-1.2M", "1.0B". One decimal, rounded half
/// away from zero, and never four digits before the point short of billions.
std::string format(std::optional<std::int64_t> tokens);

}  // namespace vantry::TokenFormatter
