#include "local/log/SessionUsage.h"

namespace vantry {

namespace {

constexpr std::uint64_t fnvPrime = 0x100000001b3;

// FNV-1a of the text and a byte that no UTF-8 has.
void mix(std::uint64_t& hash, std::string_view text) {
    for (const char byte : text) hash = (hash ^ static_cast<unsigned char>(byte)) * fnvPrime;
    hash = (hash ^ 0xFF) * fnvPrime;
}

}  // namespace

std::uint64_t sessionTextHash(std::initializer_list<std::string_view> texts) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const std::string_view text : texts) mix(hash, text);
    return hash == 0 ? 1 : hash;
}

std::uint64_t SessionToolCallProofs::proof(const SessionToolCallIdentity& identity) {
    return sessionTextHash({identity.callID, identity.name, identity.kind});
}

void SessionToolCallProofs::add(const SessionToolCallIdentity& identity) {
    const std::uint64_t value = proof(identity);
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    byName[identity.name].append(bytes, sizeof value);
}

}  // namespace vantry
