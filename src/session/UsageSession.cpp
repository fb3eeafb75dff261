#include "session/UsageSession.h"

#include <memory>
#include <utility>

#include "platform/Application.h"
#include "platform/MachineChanges.h"
#include "session/DesktopWidgetSnapshotBuilder.h"
#include "statistics/StatisticsTimeZonePreferenceStore.h"

namespace vantry {

namespace {

constexpr double zoneInterval = 60;   // seconds
constexpr double sleepInterval = 10;  // seconds

std::filesystem::path preferenceFolder() {
    return UserDirectories::current().config / application::displayName;
}

/// The machine's own sources, for reads that can be cancelled and find Codex where the user says.
UsageStoreSources sourcesOf(const Cancellation& cancellation,
                            std::function<Environment()> environment) {
    UsageStoreSources sources = UsageStoreSources::real();
    sources.liveContext = [cancellation, environment = std::move(environment)](
                              Date now, const StatisticsTimeZonePreference& preference) {
        RuntimeLoadContext context = RuntimeLoadContext::live(now, preference, environment());
        context.cancellation = cancellation;
        return context;
    };
    return sources;
}

}  // namespace

UsageSession::UsageSession(MainLoop& loop, std::function<void(WidgetSkin)> activateSkin)
    : loop_(loop),
      network_(openNetworkChanges()),
      slept_(secondsSlept()),
      publisher_({.store = DesktopWidgetSnapshotStore(UserDirectories::current()),
                  .onDesktopWidgetQueue = [this](auto task) { work_.write(std::move(task)); },
                  .onMainThread = [this](auto task) { loop_.post(std::move(task)); },
                  .reload = std::make_shared<NoDesktopWidgetReloadService>()}),
      defaults_(preferenceFolder(), application::displayName),
      settings_({.defaults = defaults_,
                 .calendar = Calendar(TimeZone::system()),
                 .activateSkin = std::move(activateSkin)}),
      store_({.loop = loop_,
              .runInBackground = [this](auto task) { work_.read(std::move(task)); },
              .sources = sourcesOf(work_.cancellation(), [this] { return environment(); }),
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
    watchPreferences();
    store_.start();
}

// A change of where Codex is asks for everything anew.
void UsageSession::watchPreferences() {
    settingsChanges_ = settings_.observe([this](const AppSettingsProperties& changed) {
        if (changed.contains(AppSettingsProperty::codexHome) ||
            changed.contains(AppSettingsProperty::codexProgram)) {
            store_.refresh({.queueIfBusy = true});
        }
    });
    std::error_code error;
    std::filesystem::create_directories(preferenceFolder(), error);
    preferences_ = openFolderChanges(preferenceFolder());
    if (!preferences_.isOpen()) return;
    preferencesWatch_ = loop_.watchReadable(preferences_.number(), [this] { readPreferences(); });
}

// What another Vantry stored; what this one did is known already.
void UsageSession::readPreferences() {
    takeFolderChanges(preferences_);
    settings_.reload();
    const auto zone = StatisticsTimeZonePreferenceStore::load(defaults_, zone_);
    if (zone != store_.state().statisticsPreference) store_.updateStatisticsTimeZone(zone);
}

bool UsageSession::end() {
    store_.stop();
    zoneTimer_.reset();
    sleepTimer_.reset();
    networkWatch_.reset();
    preferencesWatch_.reset();
    settingsChanges_ = Subscription();
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
