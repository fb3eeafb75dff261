#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace vantry {

/// What `--dump-values` is asked for.
struct DumpValuesRequest {
    std::string state;     ///< of the made-up ones; empty: this machine's own figures
    std::string language;  ///< "zh" or "en"; empty: the user's
};

/// The request of the arguments, which begin with the mode and hold its options.
DumpValuesRequest dumpValuesRequest(const std::vector<std::string_view>& arguments);

/// Prints every value of every surface as one JSON document, and gives the exit status: 2, with the
/// names that there are on `errors`, for a state or a language that is none. Without a state this
/// reads everything once and blocks for it.
int dumpValues(const DumpValuesRequest& request, std::ostream& output, std::ostream& errors);

}  // namespace vantry
