#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantry::corpus {

/// Numbers that depend on the seed alone, whatever the machine and the standard library.
class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() {
        state_ += 0x9e37'79b9'7f4a'7c15;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xbf58'476d'1ce4'e5b9;
        z = (z ^ (z >> 27)) * 0x94d0'49bb'1331'11eb;
        return z ^ (z >> 31);
    }

    /// From `low` to `high`, both included; `low` if there is nothing between them.
    std::int64_t between(std::int64_t low, std::int64_t high) {
        if (high <= low) return low;
        return low + static_cast<std::int64_t>(next() % static_cast<std::uint64_t>(high - low + 1));
    }

    std::size_t below(std::size_t count) { return count == 0 ? 0 : next() % count; }

    /// In 0..<1.
    double fraction() { return static_cast<double>(next() >> 11) * 0x1p-53; }

    bool chance(double probability) { return fraction() < probability; }

    template <class List>
    const auto& pick(const List& list) {
        return list[below(std::size(list))];
    }

    /// A size in relation to the usual one: 1 on average, a third of that most of the time, forty
    /// at most.
    double weight() {
        const double kind = fraction();
        const double part = fraction();
        if (kind < 0.7) return 0.05 + 0.7 * part;
        if (kind < 0.95) return 0.8 + 1.6 * part;
        if (kind < 0.995) return 2 + 4 * part;
        return 14 + 28 * part;
    }

    std::string letters(std::size_t count) {
        static constexpr std::string_view alphabet =
            "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
        std::string text(count, '0');
        for (char& letter : text) letter = alphabet[below(alphabet.size())];
        return text;
    }

  private:
    std::uint64_t state_;
};

}  // namespace vantry::corpus
