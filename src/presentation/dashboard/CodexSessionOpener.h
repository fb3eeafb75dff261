#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "records/TaskBoard.h"

/// The way from a task to its conversation in the Codex application.
namespace vantry::CodexSessionOpener {

/// "codex://threads/" and the id in lower case; nothing for an id that is not a UUID in its form
/// of 36 characters.
std::optional<std::string> url(std::string_view threadID);

/// Hands a URL to the desktop; whether the desktop took it.
using OpenURL = std::function<bool(const std::string& url)>;

/// False without a call for an id that has no URL, otherwise what `openURL` says.
bool open(std::string_view threadID, const OpenURL& openURL);

/// Where the conversation of a task is. Nothing for an automation, a task without a thread and an
/// id that is not one.
std::optional<std::string> conversationURL(const TaskItem& item);

/// What one types to go on with the conversation: "codex resume ID". Empty for what is no id.
std::string resumeCommand(std::string_view threadID);

/// What the machine has to open a conversation with.
struct Machine {
    bool handlesCodexAddresses = false;       ///< some application is registered for codex://
    std::optional<std::string> terminal;      ///< a terminal that takes "-e PROGRAM ARGUMENTS"
    std::optional<std::string> codexProgram;  ///< absolute path
};

/// The one way that is taken.
struct Opening {
    enum class Kind : std::uint8_t {
        nothing,    ///< the id is none
        address,    ///< `arguments` holds the address
        terminal,   ///< `arguments` is a program with its arguments
        clipboard,  ///< `arguments` holds the command, to be copied and told
    };
    Kind kind = Kind::nothing;
    std::vector<std::string> arguments;

    friend bool operator==(const Opening&, const Opening&) = default;
};

/// The application before a terminal, a terminal before the clipboard. No shell sees any of it.
Opening opening(std::string_view threadID, const Machine& machine);

}  // namespace vantry::CodexSessionOpener
