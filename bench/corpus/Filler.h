#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "corpus/Random.h"

namespace vantry::corpus {

/// Stretches of text that can stand between the quotes of a JSON text as they are. They are cut
/// from one long text, which is made once: what is written to a large log costs no more than the
/// copy.
class Filler {
  public:
    explicit Filler(std::uint64_t seed);

    /// Code, listings and logs: full of escaped quotes, underscores, and logs within logs. At most
    /// `bytes`, a line less at worst, never longer than `longest`.
    std::string_view prose(std::size_t bytes, Random& random) const;

    /// Base64, as pictures and encrypted reasoning are: a wall without a quote.
    std::string_view base64(std::size_t bytes, Random& random) const;

    static constexpr std::size_t longest = 6 * 1024 * 1024;

  private:
    std::string prose_;
    std::vector<std::size_t> lineStarts_;
    std::string base64_;
};

}  // namespace vantry::corpus
