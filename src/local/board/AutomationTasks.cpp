#include "local/board/AutomationTasks.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <system_error>

#define TOML_EXCEPTIONS 0
#define TOML_HEADER_ONLY 1
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

#include "io/BoundedCacheData.h"
#include "io/LocalFileAccess.h"
#include "local/board/TaskEvidencePolicy.h"
#include "local/index/ConversationTitle.h"
#include "platform/Text.h"

namespace vantry::CodexUsageReader {

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t maxFileBytes = 131'072;
constexpr int maxFolderEntries = 1'024;

// The parser nests a table for every dot of a key, without a limit, and unwinds them by
// recursion. What Codex writes is flat; its dots stand in texts.
constexpr int maxDotsOfLine = 1'000;

bool hasEndlessKey(std::string_view contents) {
    int dots = 0;
    char quote = 0;
    for (const char byte : contents) {
        if (byte == '\n') {
            dots = 0;
            quote = 0;
        } else if (quote != 0) {
            if (byte == quote) quote = 0;
        } else if (byte == '"' || byte == '\'') {
            quote = byte;
        } else if (byte == '.' && ++dots > maxDotsOfLine) {
            return true;
        }
    }
    return false;
}

std::optional<Date> dateFromText(std::string_view text) {
    if (const auto date = iso8601Date(text)) return date;
    double number = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number);
    if (error != std::errc() || end != last) return std::nullopt;
    return TaskEvidencePolicy::dateFromEpoch(number);
}

std::optional<Date> dateFromDateTime(const toml::date_time& value) {
    if (!value.offset) return std::nullopt;
    const std::chrono::sys_days midnight =
        std::chrono::year(value.date.year) / value.date.month / value.date.day;
    const double days = static_cast<double>(midnight.time_since_epoch().count());
    const int minutes = value.time.hour * 60 + value.time.minute - value.offset->minutes;
    const double seconds = value.time.second + value.time.nanosecond / 1e9;
    return Date(days * 86'400 + minutes * 60.0 + seconds);
}

std::optional<Date> date(toml::node_view<const toml::node> value) {
    if (const auto number = value.value_exact<std::int64_t>()) {
        return TaskEvidencePolicy::dateFromEpoch(static_cast<double>(*number));
    }
    if (const auto number = value.value_exact<double>()) {
        return TaskEvidencePolicy::dateFromEpoch(*number);
    }
    if (const auto text = value.value_exact<std::string_view>()) {
        return dateFromText(trimmed(*text));
    }
    if (const auto* dateTime = value.as_date_time()) return dateFromDateTime(dateTime->get());
    return std::nullopt;
}

}  // namespace

std::optional<TaskItem> parseAutomationTask(const AutomationFile& file) {
    if (hasEndlessKey(file.contents)) return std::nullopt;
    const std::string contents = validUtf8(file.contents);
    const toml::parse_result parsed = toml::parse(contents);
    if (!parsed) return std::nullopt;
    const toml::table& table = parsed.table();
    const auto text = [&](std::string_view key) {
        return table[key].value_exact<std::string_view>().value_or("");
    };
    if (text("status") != "ACTIVE") return std::nullopt;
    const std::string_view rrule = trimmed(text("rrule"));
    return TaskItem{.id = "automation-" + file.folderName,
                    .code = "AUTO-" + std::string(firstCharacters(file.folderName, 6)),
                    .title = normalizedThreadTitle(text("name")),
                    .detail = std::string(rrule.empty() ? trimmed(text("cron")) : rrule),
                    .chip = text("kind") == "heartbeat" ? "Wake" : "Cron",
                    .updatedAt = date(table["updated_at"]),
                    .kind = TaskColumnKind::scheduled};
}

std::vector<TaskItem> readAutomationTasks(const fs::path& codexHome) {
    // That folder itself may be a link to where its user keeps it.
    const std::vector<LocalFileRoot> roots{{.path = codexHome}};
    const fs::path folder = codexHome / "automations";
    std::vector<TaskItem> tasks;
    if (!localFileAccessIsAllowed(folder, roots)) return tasks;
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (int seen = 0; !error && entry != fs::directory_iterator() && seen < maxFolderEntries;
         ++seen, entry.increment(error)) {
        const fs::path path = entry->path() / "automation.toml";
        if (!localFileAccessIsAllowed(path, roots)) continue;
        const auto contents = boundedCacheData(path, maxFileBytes);
        if (!contents) continue;
        auto task = parseAutomationTask(
            {.folderName = validUtf8(entry->path().filename().native()), .contents = *contents});
        if (task) tasks.push_back(*std::move(task));
    }
    return tasks;
}

}  // namespace vantry::CodexUsageReader
