#pragma once

#include <optional>

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

/// A read of the local records with what is to be said of it.
struct LocalUsageRead {
    LocalUsageReadResult result;
    Notices messages;
};

/// What Codex's records on this machine say. Without a database or the `sqlite3` program, or when
/// the database cannot be read, there is no local usage; without complete session logs there is
/// one that knows only what the database says. Blocks; one read at a time for each `caches`.
LocalUsageRead readLocalUsage(const LocalUsageRequest& request, ReaderCaches& caches);

/// The last complete figures of the context's day and zone, marked stale and with their own time,
/// from what is kept alone: neither a log nor Codex's database is looked at. Blocks for two values
/// of the store of the session logs.
std::optional<LocalUsageReadResult> keptLocalUsage(const LocalUsageRequest& request);

}  // namespace vantry::CodexUsageReader
