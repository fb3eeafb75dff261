#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vantry {

/// The columns that UTF-8 text takes in a terminal: two for a wide character such as a CJK one,
/// none for a mark that is put on the character before it and for a control character.
std::size_t displayWidth(std::string_view text);

/// The rows that the text takes where lines of more than `columns`, above zero, go on in the next
/// row: a wide character that does not fit into a row leaves its end empty.
std::size_t wrappedRows(std::string_view text, std::size_t columns);

/// The text, or as much of its beginning as fits into `columns` together with a "…" behind it.
std::string cutToWidth(std::string_view text, std::size_t columns);

/// The text on one line and unable to steer a terminal: a blank in place of each control character
/// and line separator, nothing in place of a character that formats, and U+FFFD for what is not
/// UTF-8.
std::string terminalText(std::string_view text);

}  // namespace vantry
