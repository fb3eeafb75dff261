#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "presentation/words/Language.h"
#include "records/RuntimeUsageSnapshot.h"

namespace vantry {

/// What the watch shows: a line per runtime with what is left of its quota, the tokens used, the
/// active conversations, how old a figure is that could not be read again, and what went wrong.
///
///   Codex  5h 77% left, back in 2h 29m · 7d 60% left, back in 4d 15h · today 1.2M · ...
///
/// A figure that is not known is "--". What went wrong is told from kinds and states, in words of
/// our own: messages of the sources, which can hold anything, stand in the dump alone.
namespace WatchLines {

struct View {
    const MultiRuntimeUsageSnapshot& snapshot;
    Date now;  ///< a line changes with it at most each minute
    WidgetLanguage language = WidgetLanguage::en;
    std::optional<std::size_t> columns = {};  ///< longer lines are cut
};

/// At least one line, without newlines and control characters. Times of day are those of the
/// statistics zone; the tokens of another day than `now`'s are not known any more.
std::vector<std::string> lines(const View& view);

}  // namespace WatchLines

}  // namespace vantry
