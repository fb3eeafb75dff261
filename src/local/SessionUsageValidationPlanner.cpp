#include "local/SessionUsageValidationPlanner.h"

#include <cmath>
#include <limits>
#include <string_view>
#include <unordered_map>

namespace vantry {

namespace {

/// Half away from zero; stopped at the limits of 64 bits.
std::optional<std::int64_t> millisecondsOf(std::optional<Date> date) {
    const double value = date ? std::round(date->secondsSince1970() * 1000) : std::nan("");
    if (std::isnan(value)) return std::nullopt;
    constexpr double bound = 9'223'372'036'854'775'808.0;  // 2^63
    if (value >= bound) return std::numeric_limits<std::int64_t>::max();
    if (value < -bound) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

/// Follows threads to their ancestors, each thread once however many children it has.
class AncestorWalk {
  public:
    explicit AncestorWalk(const SessionUsageValidationPlanner::Plan& plan) : plan_(plan) {
        for (const SessionUsageSource& source : plan.sources) {
            pathByThread_.emplace(source.threadId, source.rolloutPath);
        }
    }

    /// Visits `path` and all its ancestors. False for a thread that is its own ancestor, and then
    /// the walk is over.
    bool visit(std::string_view path) {
        if (states_.contains(path)) return true;
        std::vector<Step> chain;
        enter(chain, path);
        while (!chain.empty()) {
            Step& step = chain.back();
            if (step.parents.empty()) {
                states_[step.path] = State::done;
                chain.pop_back();
                continue;
            }
            const std::string_view parent = step.parents.back();
            step.parents.pop_back();
            const auto known = states_.find(parent);
            if (known == states_.end()) {
                enter(chain, parent);
            } else if (known->second == State::open) {
                return false;
            }
        }
        return true;
    }

    /// All visited paths, in the order of the first visit.
    const std::vector<std::string_view>& visited() const { return visited_; }

  private:
    enum class State : std::uint8_t { open, done };

    struct Step {
        std::string_view path;
        std::vector<std::string_view> parents;  ///< not visited yet
    };

    void enter(std::vector<Step>& chain, std::string_view path) {
        states_[path] = State::open;
        visited_.push_back(path);
        chain.push_back({.path = path, .parents = parentsOf(path)});
    }

    std::vector<std::string_view> parentsOf(std::string_view path) const {
        std::vector<std::string_view> parents;
        const auto lineage = plan_.lineageByPath.find(std::string(path));
        if (lineage == plan_.lineageByPath.end()) return parents;
        const auto add = [&](const std::string& threadId) {
            const auto parent = pathByThread_.find(threadId);
            if (parent != pathByThread_.end()) parents.push_back(parent->second);
        };
        if (lineage->second.parentThreadId) add(*lineage->second.parentThreadId);
        if (lineage->second.historyBase) add(lineage->second.historyBase->threadId);
        return parents;
    }

    const SessionUsageValidationPlanner::Plan& plan_;
    std::unordered_map<std::string_view, std::string_view> pathByThread_;
    std::unordered_map<std::string_view, State> states_;
    std::vector<std::string_view> visited_;
};

}  // namespace

SessionUsageSourceRevision SessionUsageSourceRevision::of(const SessionUsageSource& source) {
    return {.threadId = source.threadId,
            .model = source.model,
            .cwd = source.cwd,
            .updatedAtMilliseconds = millisecondsOf(source.updatedAt),
            .isSubagent = source.isSubagent,
            .allowsMissingParentLineage = source.allowsMissingParentLineage};
}

std::vector<std::string> SessionUsageValidationPlanner::validationPaths(const Question& question) {
    // The database's times are of whole seconds, and a write can fall on the edge of a sweep.
    constexpr double margin = 2;
    const Date boundary = question.lastSweepAt.value_or(question.now) - margin;
    const auto& previous = question.previousRevisions;
    const auto mustBeSeen = [&](const SessionUsageSource& source) {
        if (!previous || question.forceFullValidation) return true;
        const std::string& path = source.rolloutPath;
        if (question.requiredValidationPaths.contains(path)) return true;
        if (!question.cachedEntries.contains(path)) return true;
        const auto revision = previous->find(path);
        if (revision == previous->end()) return true;
        if (revision->second != SessionUsageSourceRevision::of(source)) return true;
        return source.updatedAt && *source.updatedAt >= boundary;
    };
    std::vector<std::string> paths;
    for (const SessionUsageSource& source : question.sources) {
        if (mustBeSeen(source)) paths.push_back(source.rolloutPath);
    }
    return paths;
}

std::optional<std::vector<std::string>> SessionUsageValidationPlanner::includingAncestorPaths(
    const Plan& plan) {
    AncestorWalk walk(plan);
    for (const std::string& path : plan.paths) {
        if (!walk.visit(path)) return std::nullopt;
    }
    std::vector<std::string> paths = plan.paths;
    const std::set<std::string_view> planned(plan.paths.begin(), plan.paths.end());
    for (const std::string_view path : walk.visited()) {
        if (!planned.contains(path)) paths.emplace_back(path);
    }
    return paths;
}

}  // namespace vantry
