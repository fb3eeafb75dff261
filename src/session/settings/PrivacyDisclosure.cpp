#include "session/settings/PrivacyDisclosure.h"

#include <charconv>
#include <string>

namespace vantry::PrivacyDisclosure {

namespace {

constexpr const char* key = "Vantry.privacyDisclosureVersion";

}  // namespace

bool isAcknowledged(const UserDefaults& defaults) {
    const std::string text = defaults.string(key).value_or("");
    int version = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), version);
    return error == std::errc() && rest == text.data() + text.size() && version >= currentVersion;
}

void acknowledge(UserDefaults& defaults) {
    defaults.setString(key, std::to_string(currentVersion));
}

}  // namespace vantry::PrivacyDisclosure
