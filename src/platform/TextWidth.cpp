#include "platform/TextWidth.h"

#include <cstdint>
#include <unicode/localpointer.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>

namespace vantry {

namespace {

constexpr UChar32 replacement = 0xFFFD;  // what stands for bytes that are not UTF-8

// Calls `visit(code, bytes)` for each character until it returns false.
template <class Visit>
void forEachCharacter(std::string_view text, Visit visit) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUTextPointer reader(
        utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status));
    if (U_FAILURE(status)) return;
    std::size_t begin = 0;
    for (UChar32 code = 0; (code = utext_next32(reader.getAlias())) != U_SENTINEL;) {
        const auto end = static_cast<std::size_t>(utext_getNativeIndex(reader.getAlias()));
        if (!visit(code, text.substr(begin, end - begin))) return;
        begin = end;
    }
}

std::size_t columnsOf(UChar32 code) {
    switch (u_charType(code)) {
        case U_NON_SPACING_MARK:
        case U_ENCLOSING_MARK:
        case U_FORMAT_CHAR:
        case U_CONTROL_CHAR:
            return 0;
        default:
            break;
    }
    const int width = u_getIntPropertyValue(code, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

}  // namespace

std::size_t displayWidth(std::string_view text) {
    std::size_t columns = 0;
    forEachCharacter(text, [&](UChar32 code, std::string_view) {
        columns += columnsOf(code);
        return true;
    });
    return columns;
}

std::size_t wrappedRows(std::string_view text, std::size_t columns) {
    std::size_t rows = 1;
    std::size_t column = 0;
    forEachCharacter(text, [&](UChar32 code, std::string_view) {
        const std::size_t width = columnsOf(code);
        if (column + width > columns) {
            ++rows;
            column = 0;
        }
        column += width;
        return true;
    });
    return rows;
}

std::string cutToWidth(std::string_view text, std::size_t columns) {
    if (displayWidth(text) <= columns) return std::string(text);
    if (columns == 0) return {};
    std::string result;
    std::size_t left = columns - 1;
    forEachCharacter(text, [&](UChar32 code, std::string_view bytes) {
        const std::size_t width = columnsOf(code);
        if (width > left) return false;
        left -= width;
        result += bytes;
        return true;
    });
    return result + "…";
}

std::string terminalText(std::string_view text) {
    std::string result;
    forEachCharacter(text, [&](UChar32 code, std::string_view bytes) {
        switch (u_charType(code)) {
            case U_CONTROL_CHAR:
            case U_LINE_SEPARATOR:
            case U_PARAGRAPH_SEPARATOR:
                result += ' ';
                break;
            case U_FORMAT_CHAR:
                break;
            default:
                result += code == replacement ? std::string_view("\uFFFD") : bytes;
        }
        return true;
    });
    return result;
}

}  // namespace vantry
