#include "statistics/ModelName.h"

#include "platform/Text.h"

namespace vantry::LocalModelUsageAccumulator {

namespace {

// C0, DEL and C1, the last of which take two bytes in UTF-8.
bool hasControlCharacter(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte == 0x7F) return true;
        if (byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::optional<std::string> normalizedModel(std::optional<std::string_view> model) {
    constexpr std::size_t longest = 128;
    const std::string_view id = trimmed(model.value_or(""));
    if (id.empty() || id.size() > longest || id.find_first_of("/\\") != std::string_view::npos ||
        hasControlCharacter(id)) {
        return std::nullopt;
    }
    return std::string(id);
}

}  // namespace vantry::LocalModelUsageAccumulator
