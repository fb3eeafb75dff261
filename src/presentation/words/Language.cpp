#include "presentation/words/Language.h"

#include "platform/Text.h"

namespace vantry {

Language language(const Environment& environment) {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const auto value = environment(name);
        if (!value || value->empty()) continue;
        return asciiLowercased(*value).starts_with("zh") ? Language::zh : Language::en;
    }
    return Language::en;
}

}  // namespace vantry
