#pragma once

#include <filesystem>

#include "corpus/Corpus.h"

namespace vantry::corpus {

/// Fills the sums in from the threads and events.
void sumUp(Truth& truth);

/// Writes everything but the single events. Throws std::runtime_error.
void writeTruth(const Truth& truth, const std::filesystem::path& path);

}  // namespace vantry::corpus
