#include "session/DesktopWidgetSnapshotPublisher.h"

#include <utility>

namespace vantry {

DesktopWidgetSnapshotPublisher::DesktopWidgetSnapshotPublisher(Services services)
    : services_(std::make_shared<const Services>(std::move(services))) {}

void DesktopWidgetSnapshotPublisher::publish(const std::optional<DesktopWidgetSnapshot>& snapshot,
                                             Date now) {
    if (!snapshot || mayWait(*snapshot, now)) return;
    lastSnapshot_ = snapshot;
    lastReloadAt_ = now;
    services_->onDesktopWidgetQueue([services = services_, record = *snapshot] {
        if (!services->store.save(record)) return;
        services->onMainThread([reload = services->reload] {
            reload->reloadTimelines(DesktopWidgetSnapshotStore::widgetKind);
        });
    });
}

bool DesktopWidgetSnapshotPublisher::mayWait(const DesktopWidgetSnapshot& snapshot,
                                             Date now) const {
    return lastSnapshot_ && lastSnapshot_->hasSameQuotaContent(snapshot) &&
           now - lastReloadAt_ < minimumReloadInterval;
}

}  // namespace vantry
