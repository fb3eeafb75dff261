#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace vantry {

/// A short keyed hash that tells stored bytes from damaged ones; it proves nothing against somebody
/// who forges them. Texts that are cut elsewhere, or stand in another order or under another seed,
/// have another one. The same on every machine. Any thread; more than 1 GB a second.
std::uint64_t checksum(std::uint64_t seed, std::initializer_list<std::string_view> texts);

}  // namespace vantry
