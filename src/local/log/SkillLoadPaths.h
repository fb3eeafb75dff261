#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/JsonReader.h"

/// Finds the Skill files that a tool call names. Codex loads a Skill by reading its SKILL.md, and
/// the call's arguments are the only trace of it in a log. Any thread.
namespace vantry::CodexUsageReader {

/// Whether text or JSON may name a Skill's file: a test on its bytes, true for every one in which
/// skillLoadPaths() or extractSkillPaths() finds a path. Costs a search.
bool mayNameSkillFile(std::string_view bytes);

/// The paths in a call's arguments, each once, in order of discovery. Looks into the members
/// "arguments", "input", "cmd", "command" and "path" of objects, into lists, and into texts, which
/// are JSON or a command; under "path" a text is a path and nothing else.
///
/// What lies deeper than 64 objects and lists, or 8 texts within texts, is not looked at, and
/// nothing behind the 1,024th path: the time is that of a few passes over the arguments.
std::vector<std::string> skillLoadPaths(JsonView arguments);

/// The paths that a command line names, each once, in order; within the same bounds. The text is
/// cut into words like a shell does, with the quotes and brackets of programs as well, for a
/// command may stand in a call of another language.
std::vector<std::string> extractSkillPaths(std::string_view text);

/// The path of a SKILL.md without white space, quotes and punctuation around it; nothing for any
/// other text and for a relative path. A leading "~" stays.
std::optional<std::string> canonicalSkillPath(std::string_view text);

}  // namespace vantry::CodexUsageReader
