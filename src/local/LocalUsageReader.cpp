#include "local/LocalUsageReader.h"

namespace vantry::CodexUsageReader {

LocalUsageRead readLocalUsage(const RuntimeLoadContext& /*context*/) {
    return {.result = {.readStatus = LocalUsageReadStatus::notAttempted}, .messages = {}};
}

}  // namespace vantry::CodexUsageReader
