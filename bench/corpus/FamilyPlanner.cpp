#include "corpus/FamilyPlanner.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "corpus/SessionLines.h"

namespace vantry::corpus {

namespace {

constexpr std::array<std::string_view, 7> projects{
    "/work/alpha",  "/work/beta",       "/work/gamma delta",  "/work/研究/notes",
    "/work/o'hara", "/work/alpha/docs", "/somewhere/else.git"};

/// The first of the variants still to come that the family has the sessions for, else any.
template <class Variant, std::size_t count>
Variant takeVariant(std::vector<Variant>& toCome, const std::array<Variant, count>& all,
                    const Family& family, Random& random) {
    if (toCome.empty()) toCome.assign(all.begin(), all.end());
    const auto isWanted = [&](Variant variant) { return isPossible(family, variant); };
    const auto found = std::find_if(toCome.begin(), toCome.end(), isWanted);
    if (found == toCome.end()) {
        const Variant variant = random.pick(all);
        return isWanted(variant) ? variant : all.front();
    }
    const Variant variant = *found;
    toCome.erase(found);
    return variant;
}

}  // namespace

std::int64_t Budget::next(Random& random) {
    const std::int64_t fair = amount / std::max<std::int64_t>(sessions, 1);
    std::int64_t part = static_cast<std::int64_t>(static_cast<double>(fair) * random.weight());
    if (sessions <= 1) part = amount;
    part = std::max<std::int64_t>(part, 1);
    --sessions;
    amount = std::max<std::int64_t>(amount - part, 0);
    return part;
}

struct FamilyPlanner::Fork {
    bool compactsFirst = false;
    std::optional<TokenBreakdown> firstAnswer;
    bool isUnused = false;
    bool copiesMayFollow = false;
};

Session FamilyPlanner::begin(SessionKind kind, LogFormat format, Millis at) {
    Session session;
    session.id = makeUuid(at, random_);
    session.kind = kind;
    session.format = format;
    session.createdAt = at;
    session.project = options_.home.string() + std::string(random_.pick(projects));
    session.client = random_.chance(0.6) ? "vscode" : random_.chance(0.7) ? "cli" : "exec";
    return session;
}

void FamilyPlanner::finish(Session& session) {
    session.archived = random_.chance(options_.mix.archived);
    if (!random_.chance(options_.mix.unfinishedLogs)) return;
    session.end = random_.chance(0.5) ? LogEnd::fragment : LogEnd::unterminated;
    // Without the line that ends the turn, the last one is a reading.
    if (!session.turns.empty() && !session.turns.back().compacts && random_.chance(0.5)) {
        session.turns.back().interrupted = true;
    }
}

Session FamilyPlanner::planRoot(LogFormat format, bool forksFollow) {
    const Millis span = options_.spanDays * day;
    const Millis from = options_.end - span + random_.between(0, span * 9 / 10);
    Session session = begin(SessionKind::root, format, from);
    session.variant = "root";
    std::vector<TurnShape> shapes = sessions_.shapes(answers_.next(random_));
    const bool isQuietAtFirst = forksFollow && random_.chance(0.2);
    if (forksFollow) {  // something to fork at
        if (shapes.size() < 3) shapes = {{.samples = 1}, {.samples = 2}, {.samples = 1}};
        if (random_.chance(0.15)) {
            shapes.insert(shapes.end() - 1, {.samples = 1, .restarts = true});
        }
        if (random_.chance(0.5)) shapes.insert(shapes.end() - 1, {.compacts = true});
        if (random_.chance(0.3)) shapes.insert(shapes.begin(), {.samples = 1});
        if (isQuietAtFirst) shapes.insert(shapes.begin(), {.samples = 0});
    }
    const bool isCopied = forksFollow && format == LogFormat::copying;
    sessions_.converse(session, {}, {.shapes = shapes, .from = from, .copiesMayFollow = isCopied});
    if (isQuietAtFirst) session.turns.front().interrupted = true;
    finish(session);
    return session;
}

Session FamilyPlanner::planGuardian() {
    const Millis span = options_.spanDays * day;
    const Millis from = options_.end - span + random_.between(0, span * 9 / 10);
    Session session = begin(SessionKind::guardian, LogFormat::paginated, from);
    session.variant = "guardian";
    answers_.next(random_);
    sessions_.converse(session, {}, {.shapes = {{.samples = random_.between(1, 3)}}, .from = from});
    finish(session);
    return session;
}

Millis FamilyPlanner::forkTime(const Session& parent, std::size_t turns) {
    const Millis from = turns == 0 ? parent.createdAt : parent.turns[turns - 1].end();
    return Pace(from, options_.end).step(random_, 0, 30 * minute, 4);
}

void FamilyPlanner::goOn(Session& session, const Fork& fork) {
    std::vector<TurnShape> shapes = sessions_.shapes(answers_.next(random_));
    if (fork.compactsFirst) shapes.insert(shapes.begin(), {.compacts = true});
    if (fork.isUnused) shapes.clear();
    Counter counter = session.inherited;
    for (const Turn& turn : session.turns) counter.advance(turn);
    sessions_.converse(session, counter,
                       {.shapes = shapes,
                        .from = session.createdAt,
                        .firstAnswerAfter = session.createdAt + 1'001,
                        .firstAnswer = fork.firstAnswer,
                        .copiesMayFollow = fork.copiesMayFollow});
    finish(session);
}

Session FamilyPlanner::planCopyingFork(const Family& family, CopyVariant variant) {
    const CopyPlan plan = planCopy(family, variant, random_);
    const Session& parent = family[plan.parent];
    const Millis at = forkTime(parent, plan.isLate ? parent.turns.size() : plan.turns);
    Session session = begin(SessionKind::copyingFork, LogFormat::copying, at);
    session.variant = variantName(variant);
    session.parent = plan.parent;
    session.namesSpawner = variant == CopyVariant::asSubagent;
    session.carriesParentHeader = true;
    session.turns = copiedTurns(parent, plan, at);
    session.copiedTurns = session.turns.size();
    goOn(session, {.firstAnswer = plan.firstAnswer,
                   .isUnused = variant == CopyVariant::unused,
                   .copiesMayFollow = true});
    return session;
}

Session FamilyPlanner::planInheritingFork(const Family& family, InheritVariant variant) {
    const InheritPlan plan = planInheritance(family, variant, random_);
    const Session& base = family[plan.base.session];
    const Session& parent = family[plan.parent];
    Millis at = std::max(forkTime(base, plan.base.turns), parent.createdAt + 1);
    if (plan.isLate) at = std::max(at, forkTime(base, base.turns.size()));
    Session session = begin(SessionKind::inheritingFork, LogFormat::paginated, at);
    session.variant = variantName(variant);
    session.parent = plan.parent;
    if (!plan.startsAnew) session.base = plan.base;
    if (!plan.startsAnew) session.inherited = counterAt(family, plan.base);
    session.project = parent.project;
    goOn(session, {.compactsFirst = plan.compactsFirst,
                   .firstAnswer = plan.firstAnswer,
                   .isUnused = variant == InheritVariant::unused});
    return session;
}

Session FamilyPlanner::planSubagent(const Family& family) {
    const std::size_t parentIndex = random_.below(family.size());
    const Session& parent = family[parentIndex];
    const Millis at = forkTime(parent, random_.below(parent.turns.size() + 1));
    Session session = begin(SessionKind::subagent, parent.format, std::max(at, parent.createdAt));
    session.carriesParentHeader = parent.format == LogFormat::paginated && random_.chance(0.6);
    session.variant = session.carriesParentHeader ? "with its parent's context" : "fresh";
    session.parent = parentIndex;
    session.namesSpawner = true;
    session.project = parent.project;
    goOn(session, {});
    return session;
}

Family FamilyPlanner::next(std::int64_t mostSessions) {
    const Mix& mix = options_.mix;
    Family family;
    if (random_.chance(mix.guardians)) {
        family.push_back(planGuardian());
        return family;
    }
    const double forks = mix.copyingForks + mix.inheritingForks;
    const double children = std::min(forks + mix.subagents, 0.95);
    std::vector<SessionKind> kinds;
    const bool copies = random_.chance(forks > 0 ? mix.copyingForks / forks : mix.copyingFormat);
    while (random_.chance(children) && static_cast<std::int64_t>(kinds.size()) + 1 < mostSessions) {
        const bool isFork = random_.chance(forks / (forks + mix.subagents));
        kinds.push_back(!isFork  ? SessionKind::subagent
                        : copies ? SessionKind::copyingFork
                                 : SessionKind::inheritingFork);
    }

    const bool forksFollow = std::any_of(
        kinds.begin(), kinds.end(), [](SessionKind kind) { return kind != SessionKind::subagent; });
    const bool hasCopyingFormat = forksFollow ? copies : random_.chance(mix.copyingFormat);
    family.push_back(
        planRoot(hasCopyingFormat ? LogFormat::copying : LogFormat::paginated, forksFollow));
    for (const SessionKind kind : kinds) {
        if (kind == SessionKind::copyingFork) {
            const auto variant = takeVariant(copiesToCome_, copyVariants, family, random_);
            family.push_back(planCopyingFork(family, variant));
        } else if (kind == SessionKind::inheritingFork) {
            const auto variant = takeVariant(inheritancesToCome_, inheritVariants, family, random_);
            family.push_back(planInheritingFork(family, variant));
        } else {
            family.push_back(planSubagent(family));
        }
    }
    return family;
}

Family FamilyPlanner::bad(BadSession kind) {
    Family family;
    family.push_back(planRoot(LogFormat::paginated, true));
    if (kind == BadSession::damagedLine) {
        family.front().bad = family.front().damaged = true;
        family.front().end = LogEnd::finished;
        family.front().variant = "damaged line";
        return family;
    }
    Session fork = planInheritingFork(family, InheritVariant::whole);
    fork.bad = true;
    switch (kind) {
        case BadSession::unverifiableFork:
            fork.variant = "unverifiable";
            for (Turn& turn : fork.turns) {
                for (Sample& sample : turn.samples) {
                    ++sample.total.inputTokens;
                    ++sample.total.totalTokens;
                }
            }
            break;
        case BadSession::missingParent:
            fork.variant = "missing parent";
            fork.claimedParent = makeUuid(fork.createdAt, random_);
            fork.parent.reset();
            fork.base.reset();
            break;
        case BadSession::parentCycle:
            fork.variant = family.front().variant = "cycle";
            family.front().claimedParent = fork.id;
            family.front().bad = true;
            fork.base.reset();
            break;
        case BadSession::damagedLine:
            break;
    }
    family.push_back(std::move(fork));
    return family;
}

}  // namespace vantry::corpus
