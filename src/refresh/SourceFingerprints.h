#pragma once

#include "records/UsageSnapshot.h"
#include "refresh/RefreshSourceReusePolicies.h"

namespace vantry {

/// What the sources looked like when they were last read, so that a lane whose files are what they
/// were reads nothing. A plain value.
struct SourceFingerprints {
    using Fingerprint = std::optional<CodexRefreshSourceFingerprint::Value>;

    Fingerprint completeLocal;  ///< of full reads
    Fingerprint fastLocal;      ///< of any local read
    Fingerprint taskBoard;

    /// Of one read, before and after it.
    struct Seen {
        Fingerprint localBefore;  ///< both are there or neither
        Fingerprint taskBoardBefore;
        Fingerprint localAfter;
    };
    /// Keeps what a full read that came to `read` has covered.
    void rememberFullRead(const Seen& seen, const UsageSnapshot& read);

    /// The logs of another account are not read; the board's are.
    void forgetLocal();
};

struct SourceComparison {
    const SourceFingerprints::Fingerprint& current;
    const SourceFingerprints::Fingerprint& previous;
    const UsageSnapshot& shown;  ///< which stands in for the read
    Date now;
};

/// Whether what is shown of the logs, or of the board, would be read again as it is.
bool isLocalUsageUnchanged(const SourceComparison& compared);
bool isTaskBoardUnchanged(const SourceComparison& compared);

}  // namespace vantry
