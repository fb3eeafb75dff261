#include "platform/Cancellation.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <sys/eventfd.h>

#include "platform/FileDescriptor.h"

namespace vantry {

struct CancellationState {
    const FileDescriptor event{::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
    std::mutex mutex;
    std::condition_variable released;
    bool isCancelled = false;  // this and what follows: under mutex
    int held = 0;
};

Cancellation Cancellation::make() {
    Cancellation made;
    made.state_ = std::make_shared<CancellationState>();
    return made;
}

void Cancellation::cancel() const {
    if (!state_) return;
    {
        const std::lock_guard lock(state_->mutex);
        state_->isCancelled = true;
    }
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(state_->event.number(), &one, sizeof one);
}

bool Cancellation::isCancelled() const {
    if (!state_) return false;
    const std::lock_guard lock(state_->mutex);
    return state_->isCancelled;
}

int Cancellation::descriptor() const {
    return state_ ? state_->event.number() : -1;
}

Cancellation::Hold::Hold(const Cancellation& cancellation) : state_(cancellation.state_) {
    if (!state_) return;
    const std::lock_guard lock(state_->mutex);
    ++state_->held;
}

Cancellation::Hold::~Hold() {
    if (!state_) return;
    const std::lock_guard lock(state_->mutex);
    --state_->held;
    state_->released.notify_all();
}

bool Cancellation::waitUntilNothingIsHeld(std::chrono::milliseconds limit) const {
    if (!state_) return true;
    std::unique_lock lock(state_->mutex);
    return state_->released.wait_for(lock, limit, [this] { return state_->held == 0; });
}

}  // namespace vantry
