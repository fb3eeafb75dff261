#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantry {

/// Without white space and newlines at both ends.
std::string_view trimmed(std::string_view text);

/// Letters A to Z in lower case, everything else as it is.
std::string asciiLowercased(std::string_view text);

/// In upper case, as no language in particular writes it.
std::string uppercased(std::string_view text);

/// The pieces between the separators, without empty ones.
std::vector<std::string_view> splitOmittingEmpty(std::string_view text, char separator);

/// The first `count` code points of UTF-8 text; never cuts one in half.
std::string_view firstCharacters(std::string_view text, std::size_t count);

/// The text with U+FFFD in place of each byte that is no part of UTF-8: a name of a file can hold
/// any.
std::string validUtf8(std::string_view text);

}  // namespace vantry
