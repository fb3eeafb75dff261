#include "session/BackgroundWork.h"

#include <thread>
#include <utility>

namespace vantry {

bool BackgroundWork::end() {
    cancellation_.cancel();
    cancellation_.waitUntilNothingIsHeld(childrenEndingTime);
    const auto deadline = std::chrono::steady_clock::now() + endingTime;
    while (open_ > 0) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

void BackgroundWork::run(WorkQueue& queue, std::function<void()> task) {
    ++open_;
    queue.submit([this, task = std::move(task)] {
        task();
        --open_;
    });
}

}  // namespace vantry
