#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "local/cache/ReaderCaches.h"
#include "local/lineage/SessionFamilies.h"
#include "local/lineage/SessionUsageDeduplicator.h"
#include "local/log/SessionLogReader.h"
#include "records/LocalUsageGaps.h"

namespace vantry::CodexUsageReader {

/// The logs of a home, read and counted once.
struct SessionBatchRequest {
    const std::vector<SessionUsageSource>& rows;  ///< of the thread index
    const SessionReadSetting& setting;
    /// Logs that are read at the same time; by itself as many as there are cores, from one to four.
    std::size_t threadCount = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, 4);
};

struct LoadedSessions {
    const std::vector<SessionUsageSource>& rows;  ///< of the thread index
    std::deque<SessionUsageSource> sources;  ///< what the sessions refer to, and rows do not say
    /// Oldest first, and behind them those that are gone.
    std::vector<LoadedSessionUsage> sessions;
    std::optional<SessionFamilies> families;
    LocalUsageGaps gaps;  ///< what reading found; counting finds more
};

/// One read of the logs of a home, in two steps: what has changed, and what there is then. The
/// results are the same as if the logs were read one by one, and what the cache counted and the
/// home no longer holds is kept. Blocks; one thread.
class SessionBatch {
  public:
    /// What the request refers to and the cache, which is open, outlive this.
    SessionBatch(const SessionBatchRequest& request, SessionUsageCache& cache);
    ~SessionBatch();

    /// Brings the cache up to date with all logs that the index names or that lie in Codex's
    /// folders.
    void read();

    /// Logs that cannot be read now and may be readable soon: the batch has to wait for them.
    std::size_t waitingLogs() const;

    /// Stands for all logs and for whatever is wrong with them, after read() or after load(). As
    /// long as it stays and the rows do, load() gives what it gave.
    std::string fingerprint() const;

    /// Whether figures made before have what is ahead of that time, or lack what no longer is.
    bool isOutOfTime(Date cutoff) const;

    /// Every log that counts, as it lies in the cache. Once, after read().
    LoadedSessions load();

  private:
    class Steps;
    std::unique_ptr<Steps> steps_;
};

/// Makes the share of each log whose sources are others than they were, and of no other: only those
/// logs' events and those of their kin are loaded. Events after `cutoff` wait in it. False where
/// what is kept of a log was damaged: another batch then reads that log again.
bool bringSharesUpToDate(const LoadedSessions& loaded, SessionUsageCache& cache, Date cutoff);

/// What one log adds to the figures.
struct VisitedSession {
    const SessionUsageSource& source;
    const SessionHead& head;
    const SessionShare& share;
    const SessionShareTokens& tokens;
    const SessionUsageSource& root;  ///< the conversation that it belongs to
    /// Requests of another thread, whose own log does not tell of them. The log itself comes in a
    /// visit of its own.
    bool isBorrowed = false;
    std::int64_t waitingEventCount = 0;   ///< ahead of the cutoff
    std::int64_t setAsideEventCount = 0;  ///< of these, those more than a day ahead
};

struct SessionVisits {
    const LoadedSessions& loaded;
    SessionUsageCache& cache;
    Date cutoff;
    LocalUsageGaps& gaps;  ///< what could not be told is added
    const std::vector<const LoadedSessionUsage*>* only = nullptr;  ///< and no other log
};

/// Hands over what each log adds, in order, without its events. Once, after the shares were brought
/// up to date. False where that of a log could not be had, which is a gap until the next read.
bool visitShares(const SessionVisits& visits,
                 const std::function<void(const VisitedSession&)>& visit);

}  // namespace vantry::CodexUsageReader
