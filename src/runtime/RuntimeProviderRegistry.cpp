#include "runtime/RuntimeProviderRegistry.h"

#include <algorithm>
#include <set>
#include <string>

#include "platform/Text.h"
#include "runtime/CodexRuntimeProvider.h"

namespace vantry {

RuntimeProviderRegistry::RuntimeProviderRegistry(const Environment& environment)
    : RuntimeProviderRegistry(Providers{std::make_shared<CodexRuntimeProvider>()}, environment) {}

RuntimeProviderRegistry::RuntimeProviderRegistry(Providers providers,
                                                 const Environment& environment)
    : providers_(std::move(providers)) {
    const std::string filter = environment("VANTRY_RUNTIME_FILTER").value_or("");
    std::set<std::string> wanted;
    for (const std::string_view piece : splitOmittingEmpty(filter, ',')) {
        const std::string token = asciiLowercased(trimmed(piece));
        if (!token.empty()) wanted.insert(token);
    }
    if (wanted.empty()) return;
    std::erase_if(providers_, [&](const auto& provider) {
        const std::string id(rawText(provider->scope()));
        return !wanted.contains(id) && !wanted.contains(asciiLowercased(id));
    });
}

const RuntimeUsageProvider* RuntimeProviderRegistry::provider(RuntimeScope scope) const {
    const auto found = std::ranges::find_if(
        providers_, [&](const auto& provider) { return provider->scope() == scope; });
    return found == providers_.end() ? nullptr : found->get();
}

}  // namespace vantry
