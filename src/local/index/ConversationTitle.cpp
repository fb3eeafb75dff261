#include "local/index/ConversationTitle.h"

#include "platform/Text.h"

namespace vantry::CodexUsageReader {

std::string normalizedConversationTitle(std::string_view title) {
    constexpr std::size_t maxCharacters = 160;
    // A title is often a whole first message: nothing behind the last character kept is looked at.
    std::string result;
    std::string_view rest = trimmed(title);
    for (std::size_t count = 0; count < maxCharacters && !rest.empty(); ++count) {
        const std::string_view behindSpace = trimmed(rest);
        if (behindSpace.size() != rest.size()) {
            result += ' ';
            rest = behindSpace;
        } else {
            const std::string_view character = firstCharacters(rest, 1);
            result += character;
            rest.remove_prefix(character.size());
        }
    }
    if (result.ends_with(' ')) result.pop_back();
    return result;
}

std::string normalizedThreadTitle(std::string_view title) {
    std::string result = normalizedConversationTitle(title);
    return result.empty() ? "Untitled" : result;
}

}  // namespace vantry::CodexUsageReader
