#pragma once

namespace vantry::CodexUsageReader {

/// The names of projects in Codex, and which spellings of a path are one directory.
bool runCodexProjectNameParsingSelfTest();

}  // namespace vantry::CodexUsageReader
