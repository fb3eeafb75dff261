#pragma once

#include <string>
#include <string_view>

/// Titles as a user sees them: one line of at most 160 characters, whatever was typed.
namespace vantry::CodexUsageReader {

/// Without white space at the ends, each run of it within as one blank. Stays empty if empty.
std::string normalizedConversationTitle(std::string_view title);

/// The same for a thread that is shown by itself: one without a title is "Untitled".
std::string normalizedThreadTitle(std::string_view title);

}  // namespace vantry::CodexUsageReader
