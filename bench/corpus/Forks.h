#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "corpus/Random.h"
#include "corpus/SessionPlan.h"

namespace vantry::corpus {

/// How a fork copies its parent's history.
enum class CopyVariant {
    whole,
    firstTurns,       ///< the parent has gone on
    ofCopy,           ///< of a fork, with its parent's history in it
    oneSum,           ///< all readings in one
    oneSumThenRest,   ///< the first ones in one
    equalNextAnswer,  ///< its own first answer costs what the parent's next one cost
    asSubagent,
    nothing,            ///< forked, but nothing copied
    nothingEqualStart,  ///< and its first answer costs what the parent's first one cost
    unused,             ///< nothing follows the copy
};

/// How a fork refers to its parent's history, and what its first reading is.
enum class InheritVariant {
    whole,
    ofFork,
    leavesOutTurns,
    leavesOutEqualAnswer,  ///< its first answer costs what the first left-out one cost
    repeatsReading,        ///< a compaction comes first and tells the parent's reading again
    repeatsOnlyReading,    ///< of which the parent had just the one
    repeatsEstimate,       ///< whose last usage is a compaction's guess
    afterCompaction,
    beforeCompaction,   ///< the parent compacts after the fork
    equalAnswer,        ///< its first answer costs what the parent's last one cost
    beforeAnyTurn,      ///< refers to no history at all
    beforeAnyReading,   ///< refers to a turn without an answer
    ofUnusedFork,       ///< of a fork, before that one's first turn
    withinGrandparent,  ///< of a fork, at a place in that one's parent
    ofSubagent,
    aroundRestart,
    unused,
};

template <class Variant, std::size_t count>
constexpr std::array<Variant, count> everyVariant() {
    std::array<Variant, count> all{};
    for (std::size_t i = 0; i < count; ++i) all[i] = static_cast<Variant>(i);
    return all;
}

inline constexpr auto copyVariants = everyVariant<CopyVariant, 10>();
inline constexpr auto inheritVariants = everyVariant<InheritVariant, 17>();

std::string variantName(CopyVariant variant);
std::string variantName(InheritVariant variant);

/// Whether the family has what the variant is about.
bool isPossible(const Family& family, CopyVariant variant);
bool isPossible(const Family& family, InheritVariant variant);

struct CopyPlan {
    std::size_t parent = 0;
    std::size_t turns = 0;           ///< so many of the parent's are copied
    std::size_t summedReadings = 0;  ///< so many of them stand as one
    bool isLate = false;             ///< made after the parent's last turn
    std::optional<TokenBreakdown> firstAnswer;
};

/// Chooses the parent and the part of it that a copying fork takes.
CopyPlan planCopy(const Family& family, CopyVariant variant, Random& random);

/// The turns as they stand in the copy, which is made at `at` and takes a second at most.
std::vector<Turn> copiedTurns(const Session& parent, const CopyPlan& plan, Millis at);

struct InheritPlan {
    std::size_t parent = 0;  ///< what it is a fork of
    HistoryCut base;         ///< where its history ends
    bool startsAnew = false;
    bool isLate = false;  ///< made after the last turn of the base's session
    bool compactsFirst = false;
    std::optional<TokenBreakdown> firstAnswer;
};

InheritPlan planInheritance(const Family& family, InheritVariant variant, Random& random);

/// The counter of a session's log, before one of its turns.
Counter counterAt(const Family& family, const HistoryCut& cut);

}  // namespace vantry::corpus
