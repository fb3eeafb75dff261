#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "records/Projects.h"

/// The projects of several runtimes as one board. Sums stop at the limits of 64 bits.
namespace vantry::AgentUsageAggregator {

/// What is to become one value. The caller keeps the parts alive.
template <class T>
using Parts = std::vector<const T*>;

/// One member of each owner.
template <class T, class Owner>
Parts<T> partsOf(const Parts<Owner>& owners, T Owner::*member) {
    Parts<T> parts;
    for (const Owner* owner : owners) parts.push_back(&(owner->*member));
    return parts;
}

/// One member of those owners that know it.
template <class T, class Owner>
Parts<T> partsOf(const Parts<Owner>& owners, std::optional<T> Owner::*member) {
    Parts<T> parts;
    for (const Owner* owner : owners) {
        if (const auto& value = owner->*member) parts.push_back(&*value);
    }
    return parts;
}

/// The rows of all lists with one row for each key, in the order of first sight. A further row of
/// a key goes into the first by `join(first, further)`.
template <class Row, class KeyOf, class Join>
std::vector<Row> joinedByKey(const Parts<std::vector<Row>>& lists, KeyOf keyOf, Join join) {
    std::vector<Row> rows;
    std::map<std::decay_t<std::invoke_result_t<KeyOf, const Row&>>, std::size_t> places;
    for (const std::vector<Row>* list : lists) {
        for (const Row& row : *list) {
            const auto [place, isNew] = places.try_emplace(std::invoke(keyOf, row), rows.size());
            if (isNew) {
                rows.push_back(row);
            } else {
                join(rows[place->second], row);
            }
        }
    }
    return rows;
}

/// The sum of the values that are known; absent when neither is.
void addKnownTokens(std::optional<std::int64_t>& into, std::optional<std::int64_t> more);

/// One project on the way from several rows to one.
struct AggregatedProject {
    std::string id;
    std::string name;
    std::string fullPath;
    std::int64_t tokens = 0;
    std::optional<double> estimatedCostUSD;
    std::int64_t threadCount = 0;
    std::optional<Date> lastActiveAt;
    std::optional<Date> firstActiveAt;  ///< of the rows that know it
    bool firstActivityIsUnknown = false;
    UsageSourceQuality sourceQuality = UsageSourceQuality::detailed;
};

struct ProjectToolUsageKey {
    std::string id;
    std::string name;

    friend auto operator<=>(const ProjectToolUsageKey&, const ProjectToolUsageKey&) = default;
};

/// One row for each project id, most tokens first. The first row names the project; the quality is
/// the weakest claim. The first activity is absent as soon as one row does not know it.
std::vector<ProjectUsage> aggregateProjects(const Parts<std::vector<ProjectUsage>>& lists);

/// A single board comes back as it is. The first activity of a project belongs to its whole
/// history, so today's and the recent rows have it from the row of all time: a project that is new
/// to one runtime and long known to another is not new.
ProjectBoard aggregateProjectBoards(const Parts<ProjectBoard>& boards);

/// The details of one project id; a single one comes back as it is. A conversation that several
/// runtimes saw is one row with the sum of its tokens, and counts once in each window's threads.
ProjectUsageDetail mergeProjectDetails(const Parts<ProjectUsageDetail>& details);

}  // namespace vantry::AgentUsageAggregator
