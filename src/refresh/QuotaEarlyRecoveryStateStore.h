#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/UserDefaults.h"
#include "refresh/QuotaEarlyRecoveryState.h"

namespace vantry {

/// Where the detector's state is kept: JSON in the preference store, with absent values left out
/// and dates as seconds since 2001-01-01 UTC. Any thread.
class QuotaEarlyRecoveryStateStore {
  public:
    using State = QuotaEarlyRecovery::PersistentState;

    explicit QuotaEarlyRecoveryStateStore(UserDefaults defaults) : defaults_(std::move(defaults)) {}

    /// The empty state where nothing is stored that can be understood.
    State load() const;

    /// False when the state cannot be encoded; what was stored then stands. Read back at once. The
    /// notifications that another program stored in the meantime are kept, but for those of resets
    /// that have passed.
    bool save(const State& state, Date now);

    /// The text that is stored; nothing for a state that could not be read back, such as one with
    /// a date that is not finite.
    static std::optional<std::string> encoded(const State& state);
    static State decoded(std::string_view text);

  private:
    UserDefaults defaults_;
};

}  // namespace vantry
