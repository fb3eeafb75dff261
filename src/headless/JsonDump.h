#pragma once

#include <iosfwd>

#include "platform/JsonWriter.h"
#include "records/RuntimeUsageSnapshot.h"

namespace vantry {

/// What a probe may tell of a read: states and counts, without a title, path, name, identifier or
/// message, so that it can be attached to a bug report. A count whose source is absent is null.
JsonValue probeSummaryJSONObject(const MultiRuntimeUsageSnapshot& snapshot, Date now);

/// The whole read.
JsonValue dumpJSONObject(const MultiRuntimeUsageSnapshot& snapshot);

/// Print the document with sorted keys, two blanks a level and one newline. Print nothing if it
/// cannot be written as JSON.
void dumpProbeSummaryJSON(const MultiRuntimeUsageSnapshot& snapshot, Date now,
                          std::ostream& output);
void dumpJSON(const MultiRuntimeUsageSnapshot& snapshot, std::ostream& output);

}  // namespace vantry
