#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

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

}  // namespace vantry::CodexSessionOpener
