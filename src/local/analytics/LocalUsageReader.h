#pragma once

#include <string>
#include <vector>

#include "local/cache/ReaderCaches.h"
#include "records/LocalUsage.h"
#include "statistics/RuntimeLoadContext.h"

namespace vantry::CodexUsageReader {

struct LocalUsageRequest {
    const RuntimeLoadContext& context;
    /// Where the names of projects are kept: the user's own, whatever home is read.
    CodexFolders userCodex;
    bool persistCaches = true;
};

/// A read of the local records with the words for its user.
struct LocalUsageRead {
    LocalUsageReadResult result;
    Notices messages;
};

/// What Codex's records on this machine say. Without a database or the `sqlite3` program, or when
/// the database cannot be read, there is no local usage; without complete session logs there is
/// one that knows only what the database says. Blocks; one read at a time for each `caches`.
LocalUsageRead readLocalUsage(const LocalUsageRequest& request, ReaderCaches& caches);

}  // namespace vantry::CodexUsageReader
