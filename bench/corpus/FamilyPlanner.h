#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "corpus/Corpus.h"
#include "corpus/Forks.h"
#include "corpus/Random.h"
#include "corpus/SessionPlan.h"
#include "corpus/SessionPlanner.h"

namespace vantry::corpus {

/// What is left to be handed out.
struct Budget {
    std::int64_t sessions = 0;
    std::int64_t amount = 0;  ///< answers, or bytes

    /// The next session's part, at least 1; the last one takes all.
    std::int64_t next(Random& random);
};

/// Plans roots with the forks and subagents that come of them. The variants of a fork take turns,
/// so that a corpus of a few hundred conversations has them all.
class FamilyPlanner {
  public:
    FamilyPlanner(const CorpusOptions& options, Random& random, Budget answers)
        : options_(options), random_(random), sessions_(options, random), answers_(answers) {}

    /// The next family, of `mostSessions` at most.
    Family next(std::int64_t mostSessions);

    /// A family with what must be refused, and no more sessions than that takes.
    Family bad(BadSession kind);

  private:
    struct Fork;

    Session begin(SessionKind kind, LogFormat format, Millis at);
    Session planRoot(LogFormat format, bool forksFollow);
    Session planGuardian();
    Session planCopyingFork(const Family& family, CopyVariant variant);
    Session planInheritingFork(const Family& family, InheritVariant variant);
    Session planSubagent(const Family& family);
    void goOn(Session& session, const Fork& fork);
    void finish(Session& session);
    /// When a fork that holds the first `turns` of a session was made.
    Millis forkTime(const Session& parent, std::size_t turns);

    const CorpusOptions& options_;
    Random& random_;
    SessionPlanner sessions_;
    Budget answers_;
    std::vector<CopyVariant> copiesToCome_;
    std::vector<InheritVariant> inheritancesToCome_;
};

}  // namespace vantry::corpus
