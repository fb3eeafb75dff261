#pragma once

#include <optional>

#include "platform/Date.h"
#include "records/ReadStatus.h"
#include "records/TaskBoard.h"
#include "refresh/CodexRefreshSourceFingerprint.h"

/// When an unchanged fingerprint may stand in for a read.
namespace vantry {

namespace RefreshSourceFingerprintReusePolicy {

struct Fingerprints {
    const std::optional<CodexRefreshSourceFingerprint::Value>& current;
    const std::optional<CodexRefreshSourceFingerprint::Value>& previous;
};

/// Whether both are known and the same.
bool matches(const Fingerprints& fingerprints);

}  // namespace RefreshSourceFingerprintReusePolicy

namespace LocalUsageSourceReusePolicy {

struct PreviousRead {
    const std::optional<CodexRefreshSourceFingerprint::Value>& currentFingerprint;
    const std::optional<CodexRefreshSourceFingerprint::Value>& previousFingerprint;
    bool previousLocalUsageAvailable = false;
    LocalUsageReadStatus previousReadStatus = LocalUsageReadStatus::notAttempted;
    std::optional<Date> previousCapturedAt;
    Date now;
};

/// Only a complete read is reused, and none of a clock that was ahead; a failed read is tried again
/// at each chance.
bool mayReuse(const PreviousRead& read);

struct ReadBounds {
    const std::optional<CodexRefreshSourceFingerprint::Value>& beforeRead;
    const std::optional<CodexRefreshSourceFingerprint::Value>& afterRead;
};

/// What a read has covered; nothing if the sources changed meanwhile, since the read may have
/// missed that.
std::optional<CodexRefreshSourceFingerprint::Value> completedReadFingerprint(
    const ReadBounds& bounds);

}  // namespace LocalUsageSourceReusePolicy

namespace TaskBoardSourceReusePolicy {

/// A board is not reused once an active item may have to leave its column, which happens with the
/// time and without a change of any file.
bool mayReuse(const std::optional<TaskBoard>& board, Date now);

}  // namespace TaskBoardSourceReusePolicy

}  // namespace vantry
