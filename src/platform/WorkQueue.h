#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace vantry {

/// A few threads that run tasks in the order they come. Tasks must not throw, and must not wait
/// for tasks of the same queue. The end of the queue's life runs what is still waiting. Throws
/// std::system_error where the system gives no thread.
class WorkQueue {
  public:
    explicit WorkQueue(std::size_t threadCount);
    WorkQueue(const WorkQueue&) = delete;
    WorkQueue& operator=(const WorkQueue&) = delete;
    ~WorkQueue();

    /// Any thread.
    void submit(std::function<void()> task);

  private:
    void run();
    void end();

    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::function<void()>> tasks_;
    bool ending_ = false;
    std::vector<std::jthread> threads_;
};

/// Tasks that belong together, so that somebody can wait for all of them. A task that throws has
/// ended like any other.
class TaskGroup {
  public:
    explicit TaskGroup(WorkQueue& queue) : queue_(queue) {}
    TaskGroup(const TaskGroup&) = delete;
    TaskGroup& operator=(const TaskGroup&) = delete;
    ~TaskGroup() { wait(); }

    void submit(std::function<void()> task);

    /// Blocks until every submitted task has ended. Not from a task of the same queue.
    void wait();

  private:
    WorkQueue& queue_;
    std::mutex mutex_;
    std::condition_variable ended_;
    std::size_t open_ = 0;
};

}  // namespace vantry
