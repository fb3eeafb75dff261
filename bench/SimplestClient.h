#pragma once

#include <cstddef>
#include <string>

namespace vantry::bench {

/// Holds the conversation of a full read with `executable` in the plainest way: blocking reads and
/// writes, no limit on anything, nothing parsed but the number of answers; then ends the child and
/// waits for it. Gives the bytes of all answers, or 0 if something failed.
std::size_t holdSimplestConversation(const std::string& executable);

}  // namespace vantry::bench
