#include "refresh/UsageStoreSources.h"

#include <memory>

#include "refresh/IndexedSessionFiles.h"
#include "runtime/CodexRuntimeProvider.h"
#include "runtime/KeptUsage.h"

namespace vantry {

UsageStoreSources UsageStoreSources::real() {
    using CodexUsageReader::ReadSources;
    const auto caches = std::make_shared<ReaderCaches>();
    const auto provider = std::make_shared<CodexRuntimeProvider>(ReadSources::real(caches));
    const auto reader = std::make_shared<const MultiRuntimeUsageReader>(
        RuntimeProviderRegistry(RuntimeProviderRegistry::Providers{provider}));
    return {
        .liveContext =
            [](Date now, const StatisticsTimeZonePreference& preference) {
                return RuntimeLoadContext::live(now, preference);
            },
        .indexedSessionFiles =
            [index =
                 std::make_shared<IndexedSessionFilesCache>()](const RuntimeLoadContext& context) {
                return CodexUsageReader::indexedSessionFilesForRefreshFingerprint(context, *index);
            },
        .localUsageFingerprint =
            [](const RuntimeLoadContext& context, const Paths& files) {
                return CodexRefreshSourceFingerprint::captureLocalUsage(
                    {.context = context, .indexedSessionFiles = files});
            },
        .taskBoardFingerprint = CodexRefreshSourceFingerprint::captureTaskBoard,
        .loadKept = CodexUsageReader::loadKept,
        .load =
            [reader](const RuntimeLoadContext& context,
                     const MultiRuntimeUsageReader::LoadRequest& request) {
                return reader->load(context, request);
            },
        .loadQuota =
            [](const RuntimeLoadContext& context) { return CodexUsageReader::loadQuota(context); },
        .readLocalUsage =
            [caches](const RuntimeLoadContext& context) {
                return CodexUsageReader::readLocalUsage(
                    {.context = context, .userCodex = context.userCodex()}, *caches);
            },
        .loadTaskBoard =
            [reader](const RuntimeLoadContext& context) {
                return reader->loadTaskBoard(RuntimeScope::codex, context);
            },
    };
}

}  // namespace vantry
