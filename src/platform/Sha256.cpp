#include "platform/Sha256.h"

#include <array>
#include <sodium.h>

namespace vantry {

std::string sha256Hex(std::string_view bytes) {
    std::array<unsigned char, crypto_hash_sha256_BYTES> digest{};
    crypto_hash_sha256(digest.data(), reinterpret_cast<const unsigned char*>(bytes.data()),
                       bytes.size());
    std::string hex(2 * digest.size() + 1, '\0');
    sodium_bin2hex(hex.data(), hex.size(), digest.data(), digest.size());
    hex.pop_back();
    return hex;
}

}  // namespace vantry
