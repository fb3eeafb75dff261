#pragma once

#include <mutex>
#include <optional>
#include <utility>

namespace vantry {

/// One value that one thread puts in and another takes out. Any thread.
template <class Value>
class ConcurrentValueBox {
  public:
    void set(Value value) {
        const std::lock_guard lock(mutex_);
        storedValue_ = std::move(value);
    }

    /// The value, moved out; empty if none was put in.
    std::optional<Value> take() {
        const std::lock_guard lock(mutex_);
        return std::exchange(storedValue_, std::nullopt);
    }

  private:
    std::mutex mutex_;
    std::optional<Value> storedValue_;
};

}  // namespace vantry
