#include "presentation/settings/MachineFacts.h"

namespace vantry {

namespace {

std::string page(const MachineFacts& machine, const char* online, const char* installed) {
    if (machine.website.empty()) return machine.documentsDirectory + installed;
    std::string address = machine.website;
    while (address.ends_with('/')) address.pop_back();
    return address + online;
}

}  // namespace

std::string MachineFacts::privacyPolicyURL() const {
    return page(*this, "/privacy/", "/privacy.html");
}

std::string MachineFacts::openSourceLicenseURL() const {
    return page(*this, "/license/", "/license.html");
}

}  // namespace vantry
