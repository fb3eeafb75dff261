#include "local/index/SQLiteReader.h"

#include <algorithm>
#include <chrono>

#include "io/BoundedProcessRunner.h"
#include "io/Deadline.h"
#include "platform/Text.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

std::optional<fs::path> firstExistingPath(const std::vector<fs::path>& candidates) {
    const auto found = std::ranges::find_if(candidates, [](const fs::path& candidate) {
        std::error_code error;
        return fs::exists(candidate, error);
    });
    if (found == candidates.end()) return std::nullopt;
    return *found;
}

std::vector<fs::path> sqliteProgramCandidates() {
    return {"/usr/bin/sqlite3", "/usr/local/bin/sqlite3", "/opt/homebrew/bin/sqlite3",
            "/home/linuxbrew/.linuxbrew/bin/sqlite3"};
}

namespace {

constexpr auto timeLimit = std::chrono::seconds(5);
constexpr auto longestPause = std::chrono::milliseconds(100);

bool complainsOf(const BoundedProcessResult& result, const char* what) {
    return result.kind == BoundedProcessResult::Kind::nonZeroExit &&
           result.output.standardError.find(what) != std::string::npos;
}

// A reader that comes first after the writer has gone brings the database's log in order, and
// whoever comes meanwhile is turned away, be it another query of our own.
BoundedProcessResult runUnlocked(const SQLiteQuery& query) {
    constexpr std::size_t outputLimit = 16'777'216;
    const auto deadline = MonotonicClock::now() + timeLimit;
    for (auto pause = std::chrono::milliseconds(5);; pause = std::min(2 * pause, longestPause)) {
        const std::chrono::duration<double> left = deadline - MonotonicClock::now();
        auto result = BoundedProcessRunner::run(
            {.executableURL = query.sqlitePath,
             .arguments = {"-readonly", "-json", query.databasePath.string(), query.query},
             .timeout = left.count(),
             .maxOutputBytes = outputLimit,
             .cancellation = query.cancellation});
        if (!complainsOf(result, "locked") || MonotonicClock::now() + pause >= deadline)
            return result;
        pollfd cancelled{.fd = query.cancellation.descriptor(), .events = POLLIN, .revents = 0};
        pollUntil({&cancelled, 1}, MonotonicClock::now() + pause);
    }
}

}  // namespace

SQLiteAnswer askSQLite(const SQLiteQuery& query) {
    const BoundedProcessResult result = runUnlocked(query);
    if (result.kind != BoundedProcessResult::Kind::success) {
        return {.isNoDatabase =
                    complainsOf(result, "is not a database") || complainsOf(result, "malformed")};
    }
    // Without rows the program prints nothing.
    const std::string& output = result.output.standardOutput;
    auto document = JsonDocument::parse(trimmed(output).empty() ? "[]" : std::string_view(output));
    if (!document || !document->root().isArray()) return {};
    bool areObjects = true;
    document->root().forEachElement([&](JsonView row) { return areObjects = row.isObject(); });
    if (!areObjects) return {};
    return {.rows = std::move(document)};
}

std::optional<JsonDocument> runSQLiteJSON(const SQLiteQuery& query) {
    return askSQLite(query).rows;
}

std::optional<Date> sqliteDateFromEpoch(JsonView value) {
    constexpr std::int64_t firstMillisecond = 10'000'000'001;
    constexpr std::int64_t lastMillisecond = 253'402'300'799'000;
    const auto number = int64Value(value);
    if (!number || *number <= 0 || *number > lastMillisecond) return std::nullopt;
    const auto epoch = static_cast<double>(*number);
    return Date(*number < firstMillisecond ? epoch : epoch / 1000.0);
}

}  // namespace vantry::CodexUsageReader
