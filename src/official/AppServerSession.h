#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "official/AppServerSnapshot.h"
#include "official/CodexExecutable.h"
#include "platform/Cancellation.h"

/// One session with the account service, through a `codex app-server` child that lives as long as
/// the call.
namespace vantry::CodexUsageReader {

struct AppServerRequest {
    Date now = Date::now();  ///< stamped on what is captured
    /// Absent: the program is looked for.
    std::optional<std::filesystem::path> executablePath;
    CodexSearch search;
    /// Variables that the child gets in place of the inherited ones.
    std::vector<std::pair<std::string, std::string>> environment;
    double responseTimeout = 30;  ///< seconds, on the whole conversation
    std::set<int> requestedResponseIDs = {2, 3, 4};
    std::size_t maxOutputBytes = 8'388'608;  ///< standard output and standard error together
    std::size_t maxLineBytes = 2'097'152;
    std::size_t maxLineCount = 4'096;
    int maxMessageCount = 32;  ///< error replies
    std::function<void(std::int64_t id)> beforeParsingResponse;
    Cancellation cancellation;  ///< ends the conversation as if the child had ended
};

/// Holds the conversation and ends the child with all of its process group: its input is closed, it
/// gets SIGTERM, and SIGKILL a quarter of a second later. Blocks for at most the time limit and
/// three fifths of a second more, whatever the child does; every way of failing is a state and a
/// message. Any thread.
AppServerRead readAppServer(const AppServerRequest& request);

}  // namespace vantry::CodexUsageReader
