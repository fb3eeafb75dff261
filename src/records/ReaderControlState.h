#pragma once

#include <optional>

#include "records/ReadStatus.h"

namespace vantry {

/// The reader's own view of what happened in a read.
struct ReaderControlState {
    bool isLoading = false;  ///< a local read is still under way
    AppServerReadState appServer = AppServerReadState::notAttempted;
    std::optional<LocalReaderDependencyFailure> localDependencyFailure;

    /// Before anything was read.
    static constexpr ReaderControlState loading() { return {.isLoading = true}; }

    /// Whether figures of single sessions stand: complete, or an earlier complete batch.
    static constexpr bool localDetailedUsageIsAvailable(LocalUsageReadStatus readStatus,
                                                        bool hasDetailedUsage) {
        return hasDetailedUsage && (readStatus == LocalUsageReadStatus::complete ||
                                    readStatus == LocalUsageReadStatus::staleFallback);
    }

    struct Environment {
        bool quotaAvailable = false;
        bool accountAvailable = false;
        bool localAvailable = false;
        bool hasMessages = false;
        bool isLoading = false;
    };

    /// Whether the user should be shown the list of what the machine lacks.
    static constexpr bool shouldShowEnvironmentChecklist(const Environment& seen) {
        if (seen.isLoading) return false;
        if (seen.hasMessages && !(seen.quotaAvailable && seen.localAvailable)) return true;
        return !(seen.accountAvailable && seen.localAvailable);
    }

    friend bool operator==(const ReaderControlState&, const ReaderControlState&) = default;
};

template <>
struct RecordFields<ReaderControlState> {
    static constexpr std::tuple list{
        field("isLoading", &ReaderControlState::isLoading),
        field("appServer", &ReaderControlState::appServer),
        field("localDependencyFailure", &ReaderControlState::localDependencyFailure)};
};

}  // namespace vantry
