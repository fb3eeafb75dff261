#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "session/DesktopWidgetSnapshotStore.h"

namespace vantry {

/// Asks the desktop to draw its widgets anew. Main thread.
class DesktopWidgetReloadService {
  public:
    virtual ~DesktopWidgetReloadService() = default;
    virtual void reloadTimelines(std::string_view widgetKind) = 0;
};

/// This platform has no service of the kind: a widget here watches its file.
class NoDesktopWidgetReloadService final : public DesktopWidgetReloadService {
  public:
    void reloadTimelines(std::string_view) override {}
};

/// Writes the widget's record when its content changed, and has the widget reloaded: at once when
/// the quota changed, otherwise once in five minutes at most. Main thread; the file is written on
/// the queue. Its life may end before the work that it handed out.
class DesktopWidgetSnapshotPublisher {
  public:
    static constexpr double minimumReloadInterval = 300.0;  ///< seconds

    using Executor = std::function<void(std::function<void()> task)>;
    struct Services {
        DesktopWidgetSnapshotStore store;
        Executor onDesktopWidgetQueue;  ///< runs tasks one after the other, off the main thread
        Executor onMainThread;          ///< may be called from the queue
        std::shared_ptr<DesktopWidgetReloadService> reload;
    };

    explicit DesktopWidgetSnapshotPublisher(Services services);

    /// A failed write is not repeated: the next change is the next attempt.
    void publish(const std::optional<DesktopWidgetSnapshot>& snapshot, Date now);

  private:
    bool mayWait(const DesktopWidgetSnapshot& snapshot, Date now) const;

    std::shared_ptr<const Services> services_;
    std::optional<DesktopWidgetSnapshot> lastSnapshot_;
    Date lastReloadAt_;
};

}  // namespace vantry
