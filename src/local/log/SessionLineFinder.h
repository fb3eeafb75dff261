#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace vantry::CodexUsageReader {

/// Whether a line may be of interest: whether the key "type" stands in it, with the name of an
/// event that counts behind it, and nothing but a colon and white space between them. What a text
/// quotes is none, for its own quotes are escaped.
bool mayBeRelevant(std::string_view line);

/// Takes the lines up to the next one that may be of interest, and that one, off the front of
/// `lines`, all of which are finished. Gives that line without its end; nothing where there is
/// none, and `lines` is empty then. The lines before it are not told apart: all bytes are searched
/// at once, at the speed of memory. Allocates nothing; any thread.
std::optional<std::string_view> takeRelevantLine(std::string_view& lines);

/// The bytes of the finished lines up to the first that is longer than `longest` bytes, its end not
/// counted; all bytes where none is.
std::size_t bytesOfLinesWithin(std::string_view lines, std::size_t longest);

/// The bytes of the finished lines: all up to the last line feed, and with it.
std::size_t bytesOfFinishedLines(std::string_view bytes);

}  // namespace vantry::CodexUsageReader
