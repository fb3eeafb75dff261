#pragma once

namespace vantry::CodexUsageReader {

/// What the account's quota replies say.
bool runRateLimitParsingSelfTest();

}  // namespace vantry::CodexUsageReader
