#include "official/KeptQuota.h"

#include <system_error>

#include "io/BoundedCacheData.h"
#include "platform/AtomicFile.h"

namespace vantry {

template <>
struct RecordFields<CodexUsageReader::KeptQuota> {
    using Quota = CodexUsageReader::KeptQuota;
    static constexpr std::tuple list{
        field("version", &Quota::version),     field("accountIdentity", &Quota::accountIdentity),
        field("account", &Quota::account),     field("primary", &Quota::primary),
        field("secondary", &Quota::secondary), field("credits", &Quota::credits),
        field("limits", &Quota::limits),       field("capturedAt", &Quota::capturedAt)};
};

}  // namespace vantry

namespace vantry::CodexUsageReader {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t byteLimit = 16'384;

fs::path fileIn(const fs::path& cacheDirectory) {
    return cacheDirectory / "quota-v1.json";
}

}  // namespace

void keepQuota(const fs::path& cacheDirectory, const AppServerSnapshot& session, Date capturedAt) {
    const auto& identity = session.accountIdentity;
    const bool hasWindow =
        session.primary || session.secondary || !session.limits.otherLimits.empty();
    if (cacheDirectory.empty() || !identity || identity->empty() || !hasWindow) return;
    const KeptQuota quota{.accountIdentity = *identity,
                          .account = session.account,
                          .primary = session.primary,
                          .secondary = session.secondary,
                          .credits = session.credits,
                          .limits = session.limits,
                          .capturedAt = capturedAt};
    const auto document = writeJson(encode(quota, RecordForm::stored), JsonLayout::compact);
    if (!document) return;
    std::error_code ignored;
    fs::create_directories(cacheDirectory, ignored);
    ignored = replaceFileAtomically(fileIn(cacheDirectory), *document);
}

std::optional<KeptQuota> keptQuota(const fs::path& cacheDirectory,
                                   const std::optional<std::string>& accountIdentity, Date now) {
    if (cacheDirectory.empty() || !accountIdentity || accountIdentity->empty()) return std::nullopt;
    const auto bytes = boundedCacheData(fileIn(cacheDirectory), byteLimit);
    const auto document = bytes ? JsonDocument::parse(*bytes) : std::nullopt;
    KeptQuota quota;
    if (!document || !decode(document->root(), quota) ||
        quota.version != KeptQuota::currentVersion || quota.accountIdentity != accountIdentity ||
        !(quota.capturedAt <= now)) {
        return std::nullopt;
    }
    return quota;
}

}  // namespace vantry::CodexUsageReader
