#include "platform/Environment.h"

#include <cstdlib>

namespace vantry {

std::optional<std::string> processEnvironment(const char* name) {
    const char* value = std::getenv(name);
    if (value == nullptr) return std::nullopt;
    return std::string(value);
}

}  // namespace vantry
