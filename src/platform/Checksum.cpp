#include "platform/Checksum.h"

#include <array>
#include <sodium.h>

namespace vantry {

namespace {

void writeLittleEndian(unsigned char* to, std::uint64_t number) {
    for (unsigned i = 0; i < 8; ++i) to[i] = static_cast<unsigned char>(number >> (8 * i));
}

}  // namespace

std::uint64_t checksum(std::uint64_t seed, std::initializer_list<std::string_view> texts) {
    std::array<unsigned char, crypto_shorthash_KEYBYTES> key{};
    static_assert(key.size() == 16 && crypto_shorthash_BYTES == 8);
    writeLittleEndian(key.data(), seed);
    std::uint64_t sum = 0;
    for (const std::string_view text : texts) {
        writeLittleEndian(key.data() + 8, sum);
        std::array<unsigned char, crypto_shorthash_BYTES> hash{};
        crypto_shorthash(hash.data(), reinterpret_cast<const unsigned char*>(text.data()),
                         text.size(), key.data());
        sum = 0;
        for (unsigned i = 0; i < 8; ++i) sum |= std::uint64_t{hash[i]} << (8 * i);
    }
    return sum;
}

}  // namespace vantry
