#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "corpus/Clock.h"

namespace vantry::corpus {

/// A row of the `threads` table. Times are written in seconds and in milliseconds.
struct ThreadRow {
    std::string id;
    std::string rolloutPath;
    Millis createdAt = 0;
    Millis updatedAt = 0;
    std::string source;
    std::optional<std::string> threadSource;
    std::optional<std::string> model;
    std::optional<std::string> name;
    std::string cwd;
    std::string title;
    std::string historyMode;
    std::int64_t tokensUsed = 0;
    bool archived = false;
};

/// Makes the database of the threads with the sqlite3 program, as Codex does: with write-ahead
/// logging, and with columns and triggers that no reader asks for. Throws std::runtime_error if
/// the program is missing or refuses.
void writeStateDatabase(const std::filesystem::path& path, const std::vector<ThreadRow>& rows);

}  // namespace vantry::corpus
