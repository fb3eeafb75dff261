#pragma once

#include <cmath>
#include <compare>
#include <limits>

namespace vantry {

/// A point in time: seconds since 1970-01-01T00:00:00Z with sub-second resolution.
///
/// The value can be non-finite, because it can come from outside; whoever computes with a date
/// from outside asks isFinite() first. Comparisons with a NaN date are false, as for doubles.
class Date {
  public:
    constexpr Date() = default;
    constexpr explicit Date(double secondsSince1970) : seconds_(secondsSince1970) {}

    /// The system's wall clock. Any thread.
    static Date now();

    /// From seconds since 2001-01-01T00:00:00Z, the form in which caches hold dates.
    static constexpr Date fromReference(double seconds) { return Date(seconds + referenceEpoch); }

    constexpr double secondsSince1970() const { return seconds_; }
    constexpr double secondsSinceReference() const { return seconds_ - referenceEpoch; }
    bool isFinite() const { return std::isfinite(seconds_); }

    friend constexpr bool operator==(Date, Date) = default;
    friend constexpr std::partial_ordering operator<=>(Date, Date) = default;

    /// Seconds from `earlier` to `later`.
    friend constexpr double operator-(Date later, Date earlier) {
        return later.seconds_ - earlier.seconds_;
    }
    friend constexpr Date operator+(Date date, double seconds) {
        return Date(date.seconds_ + seconds);
    }
    friend constexpr Date operator-(Date date, double seconds) {
        return Date(date.seconds_ - seconds);
    }

  private:
    static constexpr double referenceEpoch = 978'307'200.0;

    double seconds_ = 0;
};

}  // namespace vantry
