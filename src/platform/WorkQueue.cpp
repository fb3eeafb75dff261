#include "platform/WorkQueue.h"

#include <utility>

namespace vantry {

WorkQueue::WorkQueue(std::size_t threadCount) {
    threads_.reserve(threadCount);
    try {
        for (std::size_t i = 0; i < threadCount; ++i) threads_.emplace_back([this] { run(); });
    } catch (...) {
        end();  // the threads that there are would be waited for without an end
        throw;
    }
}

WorkQueue::~WorkQueue() {
    end();
}

void WorkQueue::end() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    ready_.notify_all();
}

void WorkQueue::submit(std::function<void()> task) {
    {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    ready_.notify_one();
}

void WorkQueue::run() {
    while (true) {
        std::function<void()> task;
        {
            std::unique_lock lock(mutex_);
            ready_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
            if (tasks_.empty()) return;
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        task();
    }
}

void TaskGroup::submit(std::function<void()> task) {
    {
        const std::lock_guard lock(mutex_);
        ++open_;
    }
    queue_.submit([this, task = std::move(task)] {
        try {
            task();
        } catch (...) {
            // Whoever waits finds the task's result missing.
        }
        // Notified under the lock: the waiter may destroy this group as soon as it sees zero.
        const std::lock_guard lock(mutex_);
        if (--open_ == 0) ended_.notify_all();
    });
}

void TaskGroup::wait() {
    std::unique_lock lock(mutex_);
    ended_.wait(lock, [this] { return open_ == 0; });
}

}  // namespace vantry
