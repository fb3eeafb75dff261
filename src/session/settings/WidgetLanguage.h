#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/Environment.h"
#include "platform/RecordFields.h"

namespace vantry {

/// The languages of the program.
enum class WidgetLanguage : std::uint8_t { zh, en };

template <>
struct EnumTexts<WidgetLanguage> {
    static constexpr std::array table{std::pair{WidgetLanguage::zh, std::string_view("zh")},
                                      std::pair{WidgetLanguage::en, std::string_view("en")}};
};

/// The language of a user who chose none: Chinese if the first of LC_ALL, LC_MESSAGES and LANG that
/// says anything begins with "zh".
WidgetLanguage automaticLanguage(const Environment& environment);

}  // namespace vantry
