#pragma once

#include <cstdint>
#include <optional>

#include "records/TokenBreakdown.h"

namespace vantry {

/// What a bar of tokens is filled with.
struct TokenSplitBarFill {
    enum class Kind : std::uint8_t {
        split,        ///< its parts
        unavailable,  ///< nothing: not known
        zero,         ///< nothing: an empty track
        totalOnly,    ///< one colour: the parts are not known
    };
    Kind kind = Kind::unavailable;
    std::optional<TokenBreakdown> tokens;  ///< of a split

    /// Whether the bar is full, with the flow animation running.
    bool isFlowing() const { return kind == Kind::split || kind == Kind::totalOnly; }

    friend bool operator==(const TokenSplitBarFill&, const TokenSplitBarFill&) = default;
};

struct TokenSplitBarPresentation {
    std::optional<std::int64_t> totalTokens;
    TokenSplitBarFill fill;

    struct Sources {
        std::optional<TokenBreakdown> tokens;
        std::optional<std::int64_t> fallbackTokens;  ///< a total without a split
    };
    /// No split is invented: tokens without one, and a bare total, fill the bar with their total.
    static TokenSplitBarPresentation of(const Sources& sources);

    friend bool operator==(const TokenSplitBarPresentation&,
                           const TokenSplitBarPresentation&) = default;
};

}  // namespace vantry
