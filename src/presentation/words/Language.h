#pragma once

#include <fmt/format.h>
#include <string>
#include <string_view>

#include "session/settings/WidgetLanguage.h"

namespace vantry {

/// One text in both languages. One that takes values has {fmt}'s places for them.
struct BilingualText {
    std::string_view zh;
    std::string_view en;

    constexpr std::string_view in(WidgetLanguage language) const {
        return language == WidgetLanguage::zh ? zh : en;
    }
};

/// The text with the values in its places.
template <class... Values>
std::string inWords(const BilingualText& pattern, WidgetLanguage language,
                    const Values&... values) {
    return fmt::format(fmt::runtime(pattern.in(language)), values...);
}

}  // namespace vantry
