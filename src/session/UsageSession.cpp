#include "session/UsageSession.h"

#include <memory>
#include <utility>

#include "platform/MachineChanges.h"
#include "session/DesktopWidgetSnapshotBuilder.h"

namespace vantry {

namespace {

constexpr double zoneInterval = 60;   // seconds
constexpr double sleepInterval = 10;  // seconds

/// The machine's own sources, for reads that can be cancelled.
UsageStoreSources sourcesOf(const Cancellation& cancellation) {
    UsageStoreSources sources = UsageStoreSources::real();
    sources.liveContext = [cancellation, live = std::move(sources.liveContext)](
                              Date now, const StatisticsTimeZonePreference& preference) {
        RuntimeLoadContext context = live(now, preference);
        context.cancellation = cancellation;
        return context;
    };
    return sources;
}

}  // namespace

UsageSession::UsageSession(MainLoop& loop)
    : loop_(loop),
      network_(openNetworkChanges()),
      slept_(secondsSlept()),
      publisher_({.store = DesktopWidgetSnapshotStore(UserDirectories::current()),
                  .onDesktopWidgetQueue = [this](auto task) { work_.write(std::move(task)); },
                  .onMainThread = [this](auto task) { loop_.post(std::move(task)); },
                  .reload = std::make_shared<NoDesktopWidgetReloadService>()}),
      defaults_(UserDirectories::current().config / "Vantry", "Vantry"),
      store_({.loop = loop_,
              .runInBackground = [this](auto task) { work_.read(std::move(task)); },
              .sources = sourcesOf(work_.cancellation()),
              .defaults = defaults_,
              .systemTimeZone = [] { return TimeZone::system(); },
              .publishDesktopRecord =
                  [this](const auto& published, const auto& statistics, Date now) {
                      publisher_.publish(makeDesktopWidgetSnapshot(published, statistics), now);
                  }}) {}

void UsageSession::start() {
    zoneTimer_ = loop_.every(zoneInterval, [this] { compareZone(); });
    sleepTimer_ = loop_.every(sleepInterval, [this] { compareSleep(); });
    networkWatch_ = loop_.watchReadable(network_.number(), [this] {
        takeNetworkChanges(network_);
        store_.networkDidChange();
    });
    store_.start();
}

bool UsageSession::end() {
    store_.stop();
    zoneTimer_.reset();
    sleepTimer_.reset();
    networkWatch_.reset();
    defaults_.flush(BackgroundWork::endingTime);
    return work_.end();
}

// Nothing tells a program without a desktop that the machine's zone was changed.
void UsageSession::compareZone() {
    TimeZone zone = TimeZone::system();
    if (zone == zone_) return;
    zone_ = std::move(zone);
    store_.systemTimeZoneDidChange();
}

// The loop's timers go on during a sleep, so that this one runs as soon as it ends.
void UsageSession::compareSleep() {
    constexpr double nap = 5;  // seconds
    const double slept = secondsSlept();
    if (slept - std::exchange(slept_, slept) > nap) store_.machineDidWake();
}

}  // namespace vantry
