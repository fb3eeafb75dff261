#pragma once

#include <filesystem>

#include "corpus/Corpus.h"

namespace vantry::corpus {

/// Adds an event to the sums. Its thread must be there.
void addEvent(Truth& truth, const TruthEvent& event);

/// Fills in what the threads say by themselves.
void sumUpThreads(Truth& truth);

/// Writes everything but the single events. Throws std::runtime_error.
void writeTruth(const Truth& truth, const std::filesystem::path& path);

}  // namespace vantry::corpus
