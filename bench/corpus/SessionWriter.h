#pragma once

#include <cstdint>
#include <filesystem>

#include "corpus/Corpus.h"
#include "corpus/Filler.h"
#include "corpus/SessionPlan.h"

namespace vantry::corpus {

struct SessionFile {
    std::filesystem::path path;
    std::int64_t bytes = 0;  ///< to be filled up with what does not matter
    std::uint64_t seed = 0;
};

struct WrittenLog {
    std::int64_t bytes = 0;
    std::int64_t holeBytes = 0;        ///< of them
    std::int64_t tokenEventLines = 0;  ///< repeated and copied readings included
};

/// Writes the log of the session at `index` and sets its marks; those of its ancestors must be
/// set. Throws std::runtime_error if the file cannot be written.
WrittenLog writeSession(Family& family, std::size_t index, const SessionFile& file,
                        const CorpusOptions& options, const Filler& filler);

}  // namespace vantry::corpus
