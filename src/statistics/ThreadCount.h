#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <unordered_set>

#include "platform/RecordFields.h"

namespace vantry {

/// How many threads there are, each counted once. What comes back from where it is stored is their
/// number alone: none of those threads may be added again.
class ThreadCount {
  public:
    void add(const std::string& threadID) {
        if (ids_.insert(threadID).second) ++count_;
    }
    std::int64_t count() const { return count_; }

  private:
    friend struct RecordFields<ThreadCount>;

    std::int64_t count_ = 0;
    std::unordered_set<std::string> ids_;
};

template <>
struct RecordFields<ThreadCount> {
    static constexpr std::tuple list{field("count", &ThreadCount::count_)};
};

}  // namespace vantry
