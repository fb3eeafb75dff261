#pragma once

#include <cstdint>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <utility>

#include "platform/Environment.h"

namespace vantry {

/// The languages of the program.
enum class Language : std::uint8_t { zh, en };

/// Chinese if the first of LC_ALL, LC_MESSAGES and LANG that says anything begins with "zh".
Language language(const Environment& environment);

/// One text in both languages. One that takes values has {fmt}'s places for them.
struct BilingualText {
    std::string_view zh;
    std::string_view en;

    constexpr std::string_view in(Language language) const {
        return language == Language::zh ? zh : en;
    }
};

/// The text with the values in its places.
template <class... Values>
std::string inWords(const BilingualText& pattern, Language language, const Values&... values) {
    return fmt::format(fmt::runtime(pattern.in(language)), values...);
}

}  // namespace vantry
