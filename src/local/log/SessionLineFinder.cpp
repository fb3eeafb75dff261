#include "local/log/SessionLineFinder.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace vantry::CodexUsageReader {

namespace {

constexpr std::string_view typeKey = "\"type\"";

constexpr std::string_view names[] = {"token_count\"", "token_usage_record\"", "function_call\"",
                                      "custom_tool_call\"", "turn_context\""};

std::string_view between(const char* begin, const char* end) {
    return {begin, static_cast<std::size_t>(end - begin)};
}

#ifdef __SSE2__

constexpr int blockBytes = 64;
constexpr int thirdByte = 2;  // a "y" is rarer than the letters around it

// Which of 16 bytes are a quote with a "y" behind the next byte: mostly the key.
__m128i keyMarks(const char* at) {
    const auto load = [](const char* from) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    };
    return _mm_and_si128(_mm_cmpeq_epi8(load(at), _mm_set1_epi8(typeKey[0])),
                         _mm_cmpeq_epi8(load(at + thirdByte), _mm_set1_epi8(typeKey[thirdByte])));
}

// The first key; null where there is none.
const char* findKey(const char* at, const char* end) {
    constexpr int step = sizeof(__m128i);
    for (; end - at >= blockBytes + thirdByte; at += blockBytes) {
        const __m128i marks[] = {keyMarks(at), keyMarks(at + step), keyMarks(at + 2 * step),
                                 keyMarks(at + 3 * step)};
        const __m128i any =
            _mm_or_si128(_mm_or_si128(marks[0], marks[1]), _mm_or_si128(marks[2], marks[3]));
        if (_mm_movemask_epi8(any) == 0) continue;
        std::uint64_t bits = 0;
        for (int i = 4; i-- > 0;) {
            bits = bits << step | static_cast<std::uint32_t>(_mm_movemask_epi8(marks[i]));
        }
        for (; bits != 0; bits &= bits - 1) {
            const char* const found = at + std::countr_zero(bits);
            if (between(found, end).starts_with(typeKey)) return found;
        }
    }
    const std::size_t found = between(at, end).find(typeKey);
    return found == std::string_view::npos ? nullptr : at + found;
}

#else

const char* findKey(const char* at, const char* end) {
    return static_cast<const char*>(
        ::memmem(at, static_cast<std::size_t>(end - at), typeKey.data(), typeKey.size()));
}

#endif

// White space in a line, as the C locale has it.
const char* skipSpace(const char* at, const char* end) {
    while (at < end && (*at == ' ' || *at == '\t' || *at == '\v' || *at == '\f' || *at == '\r'))
        ++at;
    return at;
}

// Whether what stands behind the key makes a line one that counts.
bool namesEvent(const char* at, const char* end) {
    at = skipSpace(at, end);
    if (at == end || *at != ':') return false;
    at = skipSpace(at + 1, end);
    if (at == end || *at != '"') return false;
    const std::string_view value = between(at + 1, end);
    return std::ranges::any_of(names,
                               [&](std::string_view name) { return value.starts_with(name); });
}

// The key of an event that counts; null where there is none.
const char* findEvent(std::string_view bytes) {
    const char* const end = bytes.data() + bytes.size();
    const char* at = bytes.data();
    while (const char* const key = findKey(at, end)) {
        if (namesEvent(key + typeKey.size(), end)) return key;
        at = key + typeKey.size() - 1;  // its last quote may be the next one's first
    }
    return nullptr;
}

}  // namespace

bool mayBeRelevant(std::string_view line) {
    return findEvent(line) != nullptr;
}

std::optional<std::string_view> takeRelevantLine(std::string_view& lines) {
    const char* const event = findEvent(lines);
    if (event == nullptr) {
        lines = {};
        return std::nullopt;
    }
    const auto at = static_cast<std::size_t>(event - lines.data());
    const std::size_t begin = bytesOfFinishedLines(lines.substr(0, at));
    const std::size_t end = lines.find('\n', at);
    const std::string_view line = lines.substr(begin, end - begin);
    lines.remove_prefix(end + 1);
    return line;
}

std::size_t bytesOfLinesWithin(std::string_view lines, std::size_t longest) {
    std::size_t at = 0;
    // Of each stretch that is as long as a line may be, only the last line feed is looked for.
    while (lines.size() - at > longest) {
        const std::size_t finished = bytesOfFinishedLines(lines.substr(at, longest + 1));
        if (finished == 0) return at;
        at += finished;
    }
    return lines.size();
}

std::size_t bytesOfFinishedLines(std::string_view bytes) {
    if (bytes.empty()) return 0;
    const void* const last = ::memrchr(bytes.data(), '\n', bytes.size());
    if (last == nullptr) return 0;
    return static_cast<std::size_t>(static_cast<const char*>(last) - bytes.data()) + 1;
}

}  // namespace vantry::CodexUsageReader
