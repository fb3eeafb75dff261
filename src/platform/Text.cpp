#include "platform/Text.h"

#include <algorithm>
#include <array>
#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace vantry {

namespace {

// White space and newlines of Unicode, in UTF-8.
constexpr std::array<std::string_view, 25> spaces{
    " ",      "\t",     "\n",     "\v",     "\f",     "\r",     "\xC2\x85", "\xC2\xA0", "\u1680",
    "\u2000", "\u2001", "\u2002", "\u2003", "\u2004", "\u2005", "\u2006",   "\u2007",   "\u2008",
    "\u2009", "\u200A", "\u2028", "\u2029", "\u202F", "\u205F", "\u3000"};

}  // namespace

std::string_view trimmed(std::string_view text) {
    const auto sizeOf = [](const auto* space) { return space == spaces.end() ? 0 : space->size(); };
    while (const std::size_t size = sizeOf(std::ranges::find_if(
               spaces, [&](std::string_view space) { return text.starts_with(space); }))) {
        text.remove_prefix(size);
    }
    while (const std::size_t size = sizeOf(std::ranges::find_if(
               spaces, [&](std::string_view space) { return text.ends_with(space); }))) {
        text.remove_suffix(size);
    }
    return text;
}

std::string asciiLowercased(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return result;
}

std::string uppercased(std::string_view text) {
    std::string result;
    const icu::StringPiece piece(text.data(), static_cast<std::int32_t>(text.size()));
    icu::UnicodeString::fromUTF8(piece).toUpper(icu::Locale::getRoot()).toUTF8String(result);
    return result;
}

std::vector<std::string_view> splitOmittingEmpty(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    while (!text.empty()) {
        const std::size_t end = text.find(separator);
        const std::string_view piece = text.substr(0, end);
        if (!piece.empty()) pieces.push_back(piece);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return pieces;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
    std::size_t end = 0;
    for (; end < text.size(); ++end) {
        const bool beginsCharacter = (static_cast<unsigned char>(text[end]) & 0xC0) != 0x80;
        if (beginsCharacter && count-- == 0) break;
    }
    return text.substr(0, end);
}

namespace {

/// The bytes of the character at the front; 0 for what is none.
std::size_t characterSize(std::string_view text) {
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    if (byte(0) < 0x80) return 1;
    const std::size_t size = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
    if (byte(0) < 0xC2 || byte(0) > 0xF4 || text.size() < size) return 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    // Longer than need be, half of a pair, or beyond the last character.
    const bool isBad = (byte(0) == 0xE0 && byte(1) < 0xA0) || (byte(0) == 0xED && byte(1) > 0x9F) ||
                       (byte(0) == 0xF0 && byte(1) < 0x90) || (byte(0) == 0xF4 && byte(1) > 0x8F);
    return isBad ? 0 : size;
}

}  // namespace

std::string validUtf8(std::string_view text) {
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const std::size_t size = characterSize(text);
        valid += size == 0 ? std::string_view("\uFFFD") : text.substr(0, size);
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return valid;
}

}  // namespace vantry
