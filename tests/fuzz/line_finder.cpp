// Holds the search for the lines of interest to a plain matcher: the lines in one piece, at all
// places of a block, and in pieces through the buffer that logs are read into.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "local/log/SessionLineFinder.h"
#include "local/log/SessionLogBuffer.h"

using namespace vantry::CodexUsageReader;

namespace {

using Lines = std::vector<std::string>;

bool isRelevant(const std::string& line) {
    static const std::regex pattern(
        "\"type\"[ \t\v\f\r]*:[ \t\v\f\r]*\"(token_count|token_usage_record|function_call|"
        "custom_tool_call|turn_context)\"");
    return std::regex_search(line, pattern);
}

Lines relevantOf(std::string_view finished) {
    Lines found;
    while (const auto line = takeRelevantLine(finished)) found.emplace_back(*line);
    return found;
}

Lines inPieces(std::string_view bytes, std::size_t piece) {
    Lines found;
    SessionLogBuffer buffer;
    while (!bytes.empty()) {
        const auto room = buffer.room(bytes.size());
        const std::size_t count = std::min({piece, room.size(), bytes.size()});
        std::copy_n(bytes.begin(), count, room.begin());
        buffer.add(count);
        bytes.remove_prefix(count);
        const std::size_t finished = bytesOfFinishedLines(buffer.bytes());
        for (auto& line : relevantOf(buffer.bytes().substr(0, finished))) found.push_back(line);
        buffer.drop(finished);
    }
    return found;
}

void expect(bool isTrue) {
    if (!isTrue) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 || size > 4'096) return 0;
    const std::size_t longest = data[0];
    const std::size_t piece = std::size_t{data[1]} + 1;
    const std::string text(data + 2, data + size);
    Lines expected;
    std::size_t within = std::string::npos;
    std::size_t at = 0;
    for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n', at)) {
        const std::string line = text.substr(at, end - at);
        expect(mayBeRelevant(line) == isRelevant(line));
        if (isRelevant(line)) expected.push_back(line);
        if (line.size() > longest) within = std::min(within, at);
        at = end + 1;
    }
    expect(mayBeRelevant(text.substr(at)) == isRelevant(text.substr(at)));
    expect(bytesOfFinishedLines(text) == at);
    expect(bytesOfLinesWithin(std::string_view(text).substr(0, at), longest) ==
           std::min(within, at));
    expect(inPieces(text, piece) == expected);
    // A line before them moves the others to all places of a block. Nothing is readable behind it.
    for (std::size_t offset = 0; offset < 64; ++offset) {
        std::vector<char> moved(offset, 'x');
        moved.push_back('\n');
        moved.insert(moved.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at));
        moved.shrink_to_fit();
        expect(relevantOf({moved.data(), moved.size()}) == expected);
    }
    return 0;
}
