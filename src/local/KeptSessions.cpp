#include "local/KeptSessions.h"

#include <system_error>

#include "diagnostics/DebugLog.h"
#include "io/BoundedCacheData.h"
#include "platform/AtomicFile.h"
#include "platform/Text.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t version = 1;
constexpr std::int64_t byteLimit = std::int64_t{4} * 1024 * 1024 * 1024;

std::optional<KeptSessions> keptOf(JsonView root) {
    KeptSessions kept;
    if (!decode(root["kept"], kept)) return std::nullopt;
    for (auto& [key, versions] : kept.gone) {
        std::erase_if(versions, [](const KeptSession& each) {
            return !each.entry.damage().empty() || !each.entry.lineage;
        });
        for (KeptSession& each : versions) each.isSaved = true;
    }
    return kept;
}

void putAside(const fs::path& file) {
    std::error_code error;
    std::string aside = file.native() + ".damaged";
    for (int i = 2; fs::exists(aside, error) && i < 100; ++i) {
        aside = file.native() + ".damaged" + std::to_string(i);
    }
    fs::rename(file, aside, error);
    debugLog("kept sessions: the file is damaged and was put aside");
}

}  // namespace

fs::path keptSessionsURL(const fs::path& cacheDirectory) {
    return cacheDirectory.empty() ? fs::path() : cacheDirectory / "kept-sessions-v1.json";
}

KeptSessionsReading readKeptSessions(const fs::path& file) {
    std::error_code error;
    if (file.empty() || !fs::exists(file, error)) return {};
    const auto bytes = boundedCacheData(file, byteLimit);
    if (!bytes) return {.mayWrite = false};
    const auto document = JsonDocument::parse(*bytes);
    const auto found = document ? document->root()["version"].integer() : std::nullopt;
    if (found && *found > version) return {.mayWrite = false};
    auto kept = found == version ? keptOf(document->root()) : std::nullopt;
    if (!kept) putAside(file);
    return {.kept = std::move(kept).value_or(KeptSessions{})};
}

bool writeKeptSessions(const KeptSessions& kept, const fs::path& file) {
    if (file.empty()) return true;
    KeptSessions stored = kept;
    // A name that JSON cannot hold costs one more look at that log.
    std::erase_if(stored.troubles,
                  [](const auto& known) { return validUtf8(known.first) != known.first; });
    std::string text = R"({"kept":)";
    StoredTextWriter writer(text);
    writer.write(stored);
    text += R"(,"version":)" + std::to_string(version) + "}";
    std::error_code error;
    if (!writer.isGood()) error = std::make_error_code(std::errc::illegal_byte_sequence);
    if (!error) fs::create_directories(file.parent_path(), error);
    if (!error) error = replaceFileAtomically(file, text);
    if (error) debugLog("kept sessions: " + error.message());
    return !error;
}

std::optional<std::size_t> forgetGoneSessions(const fs::path& cacheDirectory) {
    const fs::path file = keptSessionsURL(cacheDirectory);
    KeptSessionsReading reading = readKeptSessions(file);
    const std::size_t count = reading.kept.goneCount();
    if (!reading.mayWrite) return std::nullopt;
    reading.kept.gone.clear();
    if (count > 0 && !writeKeptSessions(reading.kept, file)) return std::nullopt;
    return count;
}

}  // namespace vantry::CodexUsageReader

std::size_t vantry::KeptSessions::goneCount() const {
    std::size_t count = 0;
    for (const auto& [key, versions] : gone) count += versions.size();
    return count;
}
