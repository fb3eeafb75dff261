#include "session/settings/WidgetLanguage.h"

#include "platform/Text.h"

namespace vantry {

WidgetLanguage automaticLanguage(const Environment& environment) {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const auto value = environment(name);
        if (!value || value->empty()) continue;
        return asciiLowercased(*value).starts_with("zh") ? WidgetLanguage::zh : WidgetLanguage::en;
    }
    return WidgetLanguage::en;
}

}  // namespace vantry
