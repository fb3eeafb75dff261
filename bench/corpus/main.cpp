#include <charconv>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <string_view>

#include "corpus/Corpus.h"

using namespace vantry::corpus;

namespace {

constexpr std::string_view usage =
    R"(usage: vantry-corpus HOME [OPTION...]

Makes a Codex home with rollout logs and a state database, and HOME/truth.json beside them.

  --seed N             what is left to chance (1)
  --conversations N    logs (100)
  --bytes N            of all logs, about; with K, M or G for powers of 1024 (8M)
  --events N           answers of the model, about (what is usual for the bytes)
  --sparse N           bytes of holes in lines of no interest, in all logs, on top of the others (0)
  --one-log BYTES      one single log of that size
  --lean               little in a log but what counts
  --end SECONDS        since 1970; no event is later (2026-06-01)
  --days N             over which the logs are spread (180)
  --bad KIND           one more family, with what must be refused; may be given several times:
                       unverifiable-fork, missing-parent, parent-cycle, damaged-line
)";

std::optional<std::int64_t> number(std::string_view text) {
    std::int64_t scale = 1;
    if (const std::size_t unit = std::string_view("KMG").find(text.empty() ? ' ' : text.back());
        unit != std::string_view::npos) {
        scale = std::int64_t{1024} << (10 * unit);
        text.remove_suffix(1);
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < 0) return std::nullopt;
    return value * scale;
}

/// False for an option that there is not, or a value that it does not take.
bool take(CorpusOptions& options, std::string_view name, std::string_view text) {
    if (name == "--bad") {
        const std::optional<BadSession> kind = badSession(text);
        if (kind) options.bad.push_back(*kind);
        return kind.has_value();
    }
    const std::optional<std::int64_t> value = number(text);
    if (!value) return false;
    if (name == "--seed")
        options.seed = static_cast<std::uint64_t>(*value);
    else if (name == "--conversations")
        options.conversations = *value;
    else if (name == "--bytes")
        options.totalBytes = *value;
    else if (name == "--events")
        options.tokenEvents = *value;
    else if (name == "--sparse")
        options.sparseBytes = *value;
    else if (name == "--end")
        options.end = *value * second;
    else if (name == "--days")
        options.spanDays = *value;
    else if (name == "--one-log") {
        options.conversations = 1;
        options.totalBytes = *value;
    } else {
        return false;
    }
    return true;
}

int run(int count, char** arguments) {
    CorpusOptions options{.keepsEvents = false};
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--lean") {
            options.lean = true;
        } else if (argument.starts_with("--")) {
            if (i + 1 == count || !take(options, argument, arguments[i + 1])) {
                fmt::print(stderr, "{}", usage);
                return 2;
            }
            ++i;
        } else {
            options.home = std::filesystem::absolute(argument);
        }
    }
    if (options.home.empty()) {
        fmt::print(stderr, "{}", usage);
        return 2;
    }
    const Truth truth = makeCorpus(options);
    fmt::print(
        "{} logs of {} bytes, {} answers in {} token events\n"
        "tokens {}, and {} by the sum of last readings\n",
        truth.threads.size(), truth.logBytes, truth.eventCount, truth.tokenEventLines,
        truth.total.totalTokens, truth.sumOfLastReadings.totalTokens);
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        return run(count, arguments);
    } catch (const std::exception& error) {
        fmt::print(stderr, "vantry-corpus: {}\n", error.what());
        return 1;
    }
}
