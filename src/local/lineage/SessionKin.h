#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "local/lineage/SessionFamilies.h"

namespace vantry {

/// Which logs decide what a log itself tells: its ancestors as far as they go, other versions of
/// all of them, and the logs before it that may have claimed a request which it shows too. A share
/// stays as it is for as long as these stay as they are.
class SessionKin {
  public:
    /// All outlive this.
    SessionKin(std::span<const LoadedSessionUsage> sessions, const SessionFamilies& families);

    /// Stands for what all of them say and how they hang together.
    std::uint64_t sources(const LoadedSessionUsage& session) const;

    /// The log itself and all of them, each once.
    std::vector<const LoadedSessionUsage*> kin(const LoadedSessionUsage& session) const;

    /// The logs of the same thread before this one that show records.
    std::vector<const LoadedSessionUsage*> earlierOfThread(const LoadedSessionUsage& session) const;

    /// The logs before this one that hold copies of that thread's records.
    std::span<const LoadedSessionUsage* const> earlierHolders(const LoadedSessionUsage& session,
                                                              const std::string& thread) const;

    /// The same logs, those that are kin next to each other; each family in the order of the batch.
    std::vector<const LoadedSessionUsage*> byFamily(
        const std::vector<const LoadedSessionUsage*>& sessions) const;

  private:
    template <class Visit>
    void walk(const LoadedSessionUsage& session, Visit visit) const;
    std::vector<const LoadedSessionUsage*> claimants(const LoadedSessionUsage& session) const;

    std::span<const LoadedSessionUsage> sessions_;
    const SessionFamilies& families_;
    /// By the thread whose records they copied, in the order of the batch.
    std::unordered_map<std::string, std::vector<const LoadedSessionUsage*>> holders_;
};

/// What sources() says of a log that has no kin at all.
std::uint64_t sourcesWithoutKin(const SessionHead& head, const SessionUsageSource& source);

}  // namespace vantry
