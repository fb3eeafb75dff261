#pragma once

#include <optional>
#include <string>

#include "platform/JsonReader.h"
#include "records/AccountQuota.h"

/// What the account service's replies say. One bad value costs only itself: nothing is taken for
/// zero, and no good value beside it is lost. Any thread.
namespace vantry::CodexUsageReader {

/// The account of an `account/read` result; nothing unless it is an object with a type.
std::optional<AccountInfo> parseAccount(JsonView result);

/// A window with a percentage in 0...100; nothing for anything else.
std::optional<RateWindow> parseRateWindow(JsonView value);

/// What one `account/rateLimits/read` result holds.
struct RateLimits {
    /// "codex-account:" and the SHA-256 of the account's id. The id itself is dropped.
    std::optional<std::string> accountIdentity;
    std::optional<RateWindow> primary;    ///< the window of 300 minutes
    std::optional<RateWindow> secondary;  ///< the window of 10,080 minutes
    std::optional<CreditsInfo> credits;
    /// Every other limit: those under other ids, and windows that fill no slot under "codex". At
    /// most 32.
    AccountLimits limits;
};

/// Windows are put into their slots by their length, wherever the service names them.
RateLimits parseRateLimits(JsonView result);

}  // namespace vantry::CodexUsageReader
