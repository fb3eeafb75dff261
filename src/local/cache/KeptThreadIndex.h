#pragma once

#include "local/cache/ReaderCaches.h"
#include "local/index/ThreadIndex.h"

namespace vantry {

namespace CodexUsageReader {

/// The threads of these databases. The `sqlite3` program is asked only where one of the files has
/// changed since the last answer, which lies in memory and beside the logs in the cache. Blocks;
/// one thread. The reading stays until the next call.
SQLiteReadResult<const ThreadIndexReading*> readKeptThreadIndex(const StateDatabaseFiles& files,
                                                                ReaderCaches& caches);

/// The totals of the last answer that was kept, whatever has become of the databases since.
std::optional<SQLiteLocalTotals> keptThreadTotals(SessionUsageCache::Saved& saved);

}  // namespace CodexUsageReader

}  // namespace vantry
