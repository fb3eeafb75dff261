#include "corpus/Forks.h"

#include <algorithm>
#include <string_view>

namespace vantry::corpus {

namespace {

constexpr std::array<std::string_view, copyVariants.size()> copyNames{
    "whole copy",       "copy of the first turns", "copy of a copy",
    "one sum",          "one sum, then the rest",  "equal next answer",
    "copy as subagent", "nothing copied",          "nothing copied, equal first answer",
    "unused copy"};

constexpr std::array<std::string_view, inheritVariants.size()> inheritNames{
    "whole history",
    "fork of a fork",
    "leaves out turns",
    "leaves out an equal answer",
    "repeats the reading",
    "repeats the only reading",
    "repeats an estimate",
    "after a compaction",
    "before a compaction",
    "equal answer",
    "before any turn",
    "before any reading",
    "fork of an unused fork",
    "fork of a fork within its parent",
    "fork of a subagent",
    "around a restart",
    "unused"};

/// The last session that answers to `wanted` and has a turn, else the root.
template <class Predicate>
std::size_t lastSession(const Family& family, Predicate wanted) {
    for (std::size_t i = family.size(); i-- > 1;) {
        if (!family[i].turns.empty() && wanted(family[i])) return i;
    }
    return 0;
}

std::vector<Sample> samplesOf(const std::vector<Turn>& turns, std::size_t count) {
    std::vector<Sample> result;
    for (std::size_t i = 0; i < count; ++i) {
        result.insert(result.end(), turns[i].samples.begin(), turns[i].samples.end());
    }
    return result;
}

/// The number of turns before the first one that answers to `wanted`; at least 1, and the session's
/// own number if there is none.
template <class Predicate>
std::size_t turnsBefore(const Session& session, Predicate wanted) {
    for (std::size_t i = 1; i < session.turns.size(); ++i) {
        if (wanted(session.turns[i])) return i;
    }
    return session.turns.size();
}

bool answers(const Turn& turn) {
    return !turn.samples.empty();
}

/// A number of turns after which one with an answer still follows, where that can be.
std::size_t turnsWithMoreToCome(const Session& session, Random& random) {
    std::vector<std::size_t> places;
    for (std::size_t i = 1; i < session.turns.size(); ++i) {
        if (answers(session.turns[i]) && !session.turns[i].compacts) places.push_back(i);
    }
    return places.empty() ? session.turns.size() : random.pick(places);
}

std::optional<TokenBreakdown> firstAnswerFrom(const Session& session, std::size_t turn) {
    if (turn >= session.turns.size() || !answers(session.turns[turn])) return std::nullopt;
    return session.turns[turn].samples.front().added;
}

std::size_t turnsBeforeRestart(const Session& session) {
    std::int64_t previous = 0;
    return turnsBefore(session, [&](const Turn& turn) {
        if (!answers(turn)) return false;
        const bool restarted = turn.samples.front().total.totalTokens < previous;
        previous = turn.samples.back().total.totalTokens;
        return restarted;
    });
}

bool isCopy(const Session& session) {
    return session.kind == SessionKind::copyingFork;
}
bool isFork(const Session& session) {
    return session.base.has_value();
}
bool isSubagent(const Session& session) {
    return session.kind == SessionKind::subagent;
}

}  // namespace

std::string variantName(CopyVariant variant) {
    return std::string(copyNames[static_cast<std::size_t>(variant)]);
}

std::string variantName(InheritVariant variant) {
    return std::string(inheritNames[static_cast<std::size_t>(variant)]);
}

bool isPossible(const Family& family, CopyVariant variant) {
    return variant != CopyVariant::ofCopy || lastSession(family, isCopy) > 0;
}

bool isPossible(const Family& family, InheritVariant variant) {
    const std::vector<Turn>& turns = family.front().turns;
    switch (variant) {
        case InheritVariant::ofFork:
        case InheritVariant::ofUnusedFork:
            return lastSession(family, isFork) > 0;
        case InheritVariant::withinGrandparent: {
            const Session& fork = family[lastSession(family, isFork)];
            return isFork(fork) && fork.base->turns > 0;
        }
        case InheritVariant::ofSubagent:
            return lastSession(family, isSubagent) > 0;
        case InheritVariant::repeatsOnlyReading:
            return turns.front().samples.size() + turns[1].samples.size() == 1 ||
                   turns.front().samples.size() == 1;
        case InheritVariant::repeatsEstimate:
        case InheritVariant::afterCompaction:
        case InheritVariant::beforeCompaction:
            return std::any_of(turns.begin(), turns.end(),
                               [](const Turn& turn) { return turn.compacts; });
        case InheritVariant::beforeAnyReading:
            return !answers(turns.front());
        case InheritVariant::aroundRestart:
            return turnsBeforeRestart(family.front()) < turns.size();
        default:
            return true;
    }
}

Counter counterAt(const Family& family, const HistoryCut& cut) {
    const Session& session = family[cut.session];
    Counter counter = session.inherited;
    for (std::size_t i = 0; i < cut.turns; ++i) counter.advance(session.turns[i]);
    return counter;
}

CopyPlan planCopy(const Family& family, CopyVariant variant, Random& random) {
    CopyPlan plan;
    if (variant == CopyVariant::ofCopy || random.chance(0.2)) {
        plan.parent = lastSession(family, isCopy);
    }
    const Session& parent = family[plan.parent];
    plan.turns = parent.turns.size();
    switch (variant) {
        case CopyVariant::firstTurns:
            plan.turns = turnsWithMoreToCome(parent, random);
            break;
        case CopyVariant::equalNextAnswer:
            plan.turns = turnsWithMoreToCome(parent, random);
            plan.firstAnswer = firstAnswerFrom(parent, plan.turns);
            plan.isLate = random.chance(0.5);
            break;
        case CopyVariant::oneSum:
        case CopyVariant::oneSumThenRest: {
            const std::size_t count = samplesOf(parent.turns, plan.turns).size();
            plan.summedReadings = count;
            if (variant == CopyVariant::oneSumThenRest && count > 2) {
                plan.summedReadings = 2 + random.below(count - 2);
            }
            break;
        }
        case CopyVariant::nothing:
            plan.turns = 0;
            break;
        case CopyVariant::nothingEqualStart:
            plan.turns = 0;
            plan.isLate = true;
            plan.firstAnswer = firstAnswerFrom(parent, 0);
            break;
        default:
            break;
    }
    return plan;
}

std::vector<Turn> copiedTurns(const Session& parent, const CopyPlan& plan, Millis at) {
    std::vector<Turn> turns(parent.turns.begin(),
                            parent.turns.begin() + static_cast<std::ptrdiff_t>(plan.turns));
    if (plan.summedReadings > 1) {
        std::vector<Sample> samples = samplesOf(turns, turns.size());
        Sample sum;
        for (std::size_t i = 0; i < plan.summedReadings; ++i) sum.added.add(samples[i].added);
        sum.total = sum.added;
        samples.erase(samples.begin(),
                      samples.begin() + static_cast<std::ptrdiff_t>(plan.summedReadings));
        // The copy's counter only grows, whatever the parent's has done.
        TokenBreakdown total = sum.total;
        for (Sample& sample : samples) {
            total.add(sample.added);
            sample.total = total;
        }
        samples.insert(samples.begin(), sum);
        turns.assign(1, Turn{.model = turns.back().model, .samples = samples});
    }

    const auto count = static_cast<Millis>(samplesOf(turns, turns.size()).size());
    Millis done = 0;
    for (Turn& turn : turns) {
        turn.start = at + (count == 0 ? 0 : done * second / count);
        turn.reopened = false;
        for (Sample& sample : turn.samples) sample.at = at + ++done * second / count;
    }
    return turns;
}

InheritPlan planInheritance(const Family& family, InheritVariant variant, Random& random) {
    InheritPlan plan;
    if (variant == InheritVariant::ofFork || variant == InheritVariant::ofUnusedFork ||
        variant == InheritVariant::withinGrandparent ||
        (variant <= InheritVariant::leavesOutEqualAnswer && random.chance(0.2))) {
        plan.parent = lastSession(family, isFork);
    } else if (variant == InheritVariant::ofSubagent) {
        plan.parent = lastSession(family, isSubagent);
    }
    const Session& parent = family[plan.parent];
    plan.base = {.session = plan.parent, .turns = parent.turns.size()};

    switch (variant) {
        case InheritVariant::leavesOutTurns:
            plan.base.turns = turnsWithMoreToCome(parent, random);
            plan.isLate = random.chance(0.7);
            break;
        case InheritVariant::leavesOutEqualAnswer:
            plan.base.turns = turnsWithMoreToCome(parent, random);
            plan.isLate = true;
            plan.firstAnswer = firstAnswerFrom(parent, plan.base.turns);
            break;
        case InheritVariant::repeatsReading:
            plan.compactsFirst = true;
            plan.base.turns = turnsWithMoreToCome(parent, random);
            break;
        case InheritVariant::repeatsOnlyReading:
            plan.compactsFirst = true;
            plan.base.turns = answers(parent.turns.front()) ? 1 : 2;
            break;
        case InheritVariant::repeatsEstimate:
        case InheritVariant::afterCompaction:
            plan.compactsFirst = variant == InheritVariant::repeatsEstimate;
            plan.base.turns = turnsBefore(parent, [](const Turn& turn) { return turn.compacts; });
            plan.base.turns = std::min(plan.base.turns + 1, parent.turns.size());
            break;
        case InheritVariant::beforeCompaction:
            plan.base.turns = turnsBefore(parent, [](const Turn& turn) { return turn.compacts; });
            plan.isLate = random.chance(0.5);
            break;
        case InheritVariant::equalAnswer:
            plan.base.turns = turnsWithMoreToCome(parent, random);
            if (const Counter counter = counterAt(family, plan.base); counter.told) {
                // An estimate has no split, and is nothing an answer can cost.
                if (counter.last.inputTokens > 0) plan.firstAnswer = counter.last;
            }
            break;
        case InheritVariant::beforeAnyTurn:
            plan.base.turns = 0;
            plan.startsAnew = !parent.base.has_value();
            plan.isLate = random.chance(0.5);
            break;
        case InheritVariant::beforeAnyReading:
            plan.base.turns = 1;
            break;
        case InheritVariant::ofUnusedFork:
            plan.base.turns = 0;
            break;
        case InheritVariant::withinGrandparent:
            plan.base = *parent.base;
            plan.base.turns = 1 + random.below(plan.base.turns);
            break;
        case InheritVariant::aroundRestart:
            plan.base.turns = turnsBeforeRestart(parent) + random.below(2);
            plan.base.turns = std::min(plan.base.turns, parent.turns.size());
            break;
        default:
            break;
    }
    return plan;
}

}  // namespace vantry::corpus
