#pragma once

namespace vantry::CodexUsageReader {

/// What a line of a session log says: tokens, models and tool calls.
bool runModelUsageParsingSelfTest();

}  // namespace vantry::CodexUsageReader
