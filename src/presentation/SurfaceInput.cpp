#include "presentation/SurfaceInput.h"

#include "statistics/StatisticsContext.h"

namespace vantry {

Wording SurfaceInput::wording() const {
    return Wording(
        settings.language, now,
        StatisticsContext::calendar(
            state.multiRuntimeSnapshot.statisticsIdentity.resolvedIdentifier, TimeZone::utc()));
}

const LocalUsage* SurfaceInput::localOfToday() const {
    const StatisticsIdentity& identity = state.multiRuntimeSnapshot.statisticsIdentity;
    const Calendar calendar =
        StatisticsContext::calendar(identity.resolvedIdentifier, TimeZone::utc());
    const auto today = calendar.day(now);
    return today && calendar.day(identity.now) == today ? local() : nullptr;
}

FigureOrigin SurfaceInput::localOrigin() const {
    return {.source = FigureSource::thisComputer,
            .capturedAt = snapshot().localUsageCapturedAt,
            .isStale = snapshot().localUsageIsStale};
}

bool SurfaceInput::isFirstRead() const {
    const ReaderControlState& reader = snapshot().readerState;
    return reader.isLoading && !snapshot().local && !snapshot().taskBoard && !snapshot().primary &&
           !snapshot().secondary;
}

}  // namespace vantry
