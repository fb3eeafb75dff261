#include "corpus/Filler.h"

#include <algorithm>
#include <array>
#include <string>

namespace vantry::corpus {

namespace {

/// Each ends its line, so that a cut between two lines parts no escape and no character.
constexpr std::array<std::string_view, 14> proseLines{
    R"(#include \"session/line_reader.h\"\n)",
    R"(    if (!line.contains(\"\\\"token_count\\\"\")) return true;  // \"type\" alone says nothing\n)",
    R"({\"timestamp\":\"2026-01-02T03:04:05.678Z\",\"type\":\"event_msg\",\"payload\":{\"type\":\"token_count\",\"info\":null}}\n)",
    R"(src/session_reader/token_usage_record.rs:118:    let total_token_usage = info.total_token_usage;\n)",
    R"({\"payload\":{\"type\":\"function_call\",\"name\":\"exec_command\",\"call_id\":\"call_0\"}}\n)",
    R"(-rw-r--r-- 1 user user  48213 Mar  4 11:02 test_data_for_the_parser_with_a_long_name.json\n)",
    R"(\u001b[32mok\u001b[0m   test_reads_the_last_line_without_a_line_feed ... 0.031s\n)",
    R"(\t\"description\": \"Zählt die Zeichen — 数一数 \\\"quoted\\\" words\",\n)",
    R"(diff --git a/lib/a_very_long_module_name.py b/lib/a_very_long_module_name.py\n)",
    R"(+        self.total_token_usage = {\"input_tokens\": 0, \"output_tokens\": 0, \"total_tokens\": 0}\n)",
    R"({\"a\":{\"b\":{\"c\":\"{\\\"type\\\":\\\"turn_context\\\",\\\"payload\\\":{\\\"model\\\":\\\"gpt-0\\\"}}\"}}}\n)",
    R"(C:\\Users\\somebody\\AppData\\Local\\Temp\\build_output\\x64\\Release\\main_window.obj\n)",
    R"(The quick brown fox jumps over the lazy dog, and then it does the same thing all over again.\n)",
    R"(________________________________________________________________________________\n)"};

}  // namespace

Filler::Filler(std::uint64_t seed) {
    Random random(seed);
    while (prose_.size() < longest) {
        lineStarts_.push_back(prose_.size());
        prose_ += random.pick(proseLines);
    }
    lineStarts_.push_back(prose_.size());
    base64_ = random.letters(longest);
}

std::string_view Filler::prose(std::size_t bytes, Random& random) const {
    bytes = std::min(bytes, longest);
    const auto lastStart =
        std::upper_bound(lineStarts_.begin(), lineStarts_.end(), prose_.size() - bytes);
    const auto count = static_cast<std::size_t>(lastStart - lineStarts_.begin());
    const std::size_t start = lineStarts_[random.below(count)];
    const auto end = std::upper_bound(lineStarts_.begin(), lineStarts_.end(), start + bytes);
    return std::string_view(prose_).substr(start, *(end - 1) - start);
}

std::string_view Filler::base64(std::size_t bytes, Random& random) const {
    bytes = std::min(bytes, longest);
    return std::string_view(base64_).substr(random.below(longest - bytes + 1), bytes);
}

}  // namespace vantry::corpus
