#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vantry::LocalModelUsageAccumulator {

/// The model's id without white space around it; nothing for what is no id: an empty text, one of
/// more than 128 bytes, or one with a path separator or a control character in it.
std::optional<std::string> normalizedModel(std::optional<std::string_view> model);

}  // namespace vantry::LocalModelUsageAccumulator
