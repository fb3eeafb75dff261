#pragma once

#include <functional>
#include <optional>
#include <string>

namespace vantry {

/// Looks a variable up; empty when it is not set. A value of its own so that whoever depends on
/// the environment can be handed another one.
using Environment = std::function<std::optional<std::string>(const char* name)>;

/// The environment of this process. The program never changes it, so any thread may ask.
std::optional<std::string> processEnvironment(const char* name);

}  // namespace vantry
