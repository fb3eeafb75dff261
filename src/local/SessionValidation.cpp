#include "local/SessionValidation.h"

namespace vantry::CodexUsageReader {

namespace {

std::map<std::string, SessionUsageLineage> lineageByPath(const LoadedSessions& loaded) {
    std::map<std::string, SessionUsageLineage> lineages;
    for (const LoadedSessionUsage& session : loaded.sessions) {
        if (session.entry.lineage) {
            lineages.emplace(session.source.rolloutPath, *session.entry.lineage);
        }
    }
    return lineages;
}

}  // namespace

ValidatedSessions validateSessions(const SessionValidationRequest& request,
                                   SessionUsageCache& cache) {
    std::vector<std::string> plan = SessionUsageValidationPlanner::validationPaths(
        {.sources = request.sources,
         .previousRevisions = cache.previousRevisions,
         .lastSweepAt = cache.lastSessionSourceSweepAt,
         .cachedEntries = cache.entries,
         .now = request.setting.now,
         .requiredValidationPaths = request.requiredPaths});
    ValidatedSessions result;
    while (true) {
        result.loaded = loadSessions(
            {.sources = request.sources, .pathsToValidate = plan, .setting = request.setting},
            cache);
        auto grown = SessionUsageValidationPlanner::includingAncestorPaths(
            {.paths = plan,
             .sources = request.sources,
             .lineageByPath = lineageByPath(result.loaded)});
        if (!grown) {
            result.parentChainsAreSound = false;
            return result;
        }
        if (grown->size() <= plan.size()) return result;
        plan = *std::move(grown);
    }
}

void rememberSources(const std::vector<SessionUsageSource>& sources, Date now,
                     SessionUsageCache& cache) {
    SessionUsageSourceRevisions revisions;
    for (const SessionUsageSource& source : sources) {
        revisions.emplace(source.rolloutPath, SessionUsageSourceRevision::of(source));
    }
    cache.previousRevisions = std::move(revisions);
    cache.lastSessionSourceSweepAt = now;
}

}  // namespace vantry::CodexUsageReader
