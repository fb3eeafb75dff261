#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "official/AppServerSnapshot.h"

/// The quota of the last session that brought one, kept on disk with its account, so that a start
/// can show it before anybody has answered. Whatever is wrong with the file, it counts as absent.
namespace vantry::CodexUsageReader {

struct KeptQuota {
    static constexpr std::int64_t currentVersion = 1;

    std::int64_t version = currentVersion;
    std::string accountIdentity;
    std::optional<AccountInfo> account;
    std::optional<RateWindow> primary;
    std::optional<RateWindow> secondary;
    std::optional<CreditsInfo> credits;
    std::optional<AccountLimits> limits;  ///< absent in files of earlier versions
    Date capturedAt;

    friend bool operator==(const KeptQuota&, const KeptQuota&) = default;
};

/// Replaces the file, whole or not at all, with the quota of a session as of `capturedAt`. One
/// without a window or of an unknown account is not kept. Blocks for the disk.
void keepQuota(const std::filesystem::path& cacheDirectory, const AppServerSnapshot& session,
               Date capturedAt);

/// The quota of that account; none of a clock that was ahead of `now`. Blocks for a small file.
std::optional<KeptQuota> keptQuota(const std::filesystem::path& cacheDirectory,
                                   const std::optional<std::string>& accountIdentity, Date now);

}  // namespace vantry::CodexUsageReader
