#pragma once

#include "platform/FileDescriptor.h"
#include "platform/MainLoop.h"
#include "platform/UserDirectories.h"
#include "refresh/UsageStore.h"
#include "session/BackgroundWork.h"
#include "session/DesktopWidgetSnapshotPublisher.h"
#include "session/settings/AppSettings.h"

namespace vantry {

/// One running Vantry without a face: the store with the machine's own sources, its reads in the
/// background and their ending, the preferences, the record for desktop widgets, and what the
/// machine does meanwhile. The thread of the loop, which turns for as long as this lives.
class UsageSession {
  public:
    /// `activateSkin` is called with the skin before anybody hears of it.
    explicit UsageSession(
        MainLoop& loop, std::function<void(WidgetSkin)> activateSkin = [](WidgetSkin) {});
    UsageSession(const UsageSession&) = delete;
    UsageSession& operator=(const UsageSession&) = delete;

    /// Starts reading. Before this only the preferences are looked at.
    void start();

    /// Ends what is under way, the children of reads included, and writes what is not written.
    /// False if a read is still running: the process must then end with std::_Exit.
    bool end();

    UsageStore& store() { return store_; }
    AppSettings& settings() { return settings_; }
    const UserDefaults& defaults() const { return defaults_; }

  private:
    void compareZone();
    void compareSleep();
    void watchPreferences();
    void readPreferences();
    Environment environment() const {
        return environmentOf(settings_.values(), processEnvironment);
    }

    MainLoop& loop_;
    FileDescriptor network_;
    double slept_;
    TimeZone zone_ = TimeZone::system();
    BackgroundWork work_;
    DesktopWidgetSnapshotPublisher publisher_;
    UserDefaults defaults_;
    AppSettings settings_;
    UsageStore store_;
    MainLoop::TimerHandle zoneTimer_;
    MainLoop::TimerHandle sleepTimer_;
    MainLoop::WatchHandle networkWatch_;
    FileDescriptor preferences_;
    MainLoop::WatchHandle preferencesWatch_;
    Subscription settingsChanges_;
};

}  // namespace vantry
