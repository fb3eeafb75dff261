#include "platform/PreferenceWriter.h"

#include <condition_variable>
#include <mutex>
#include <system_error>

namespace vantry {

namespace {
constexpr std::chrono::seconds pauseAfterFailure{1};
}

// Shared with the thread, which may outlive the writer.
struct PreferenceWriter::Queue {
    explicit Queue(std::filesystem::path path) : file(std::move(path)) {}

    const std::filesystem::path file;
    std::mutex mutex;
    std::condition_variable wake;     // the thread
    std::condition_variable settled;  // who waits for it
    // Under the mutex, which is never held while the disk works:
    PreferenceFile::Values waiting;
    bool isUrgent = false;  // there is reason to try again before the pause is over
    bool isEnding = false;
    bool hasEnded = false;
};

PreferenceWriter::PreferenceWriter(const std::filesystem::path& file)
    : queue_(std::make_shared<Queue>(file)) {}

PreferenceWriter::~PreferenceWriter() {
    std::unique_lock lock(queue_->mutex);
    if (!thread_.joinable()) return;
    queue_->isEnding = true;
    queue_->wake.notify_all();
    const bool hasEnded =
        queue_->settled.wait_for(lock, endingTime, [this] { return queue_->hasEnded; });
    lock.unlock();
    if (hasEnded) {
        thread_.join();
    } else {
        thread_.detach();
    }
}

void PreferenceWriter::write(const PreferenceFile::Values& values) {
    const std::lock_guard lock(queue_->mutex);
    for (const auto& [key, value] : values) queue_->waiting.insert_or_assign(key, value);
    queue_->isUrgent = true;
    startThread();
    queue_->wake.notify_all();
}

std::optional<PreferenceFile::Value> PreferenceWriter::waiting(std::string_view key) const {
    const std::lock_guard lock(queue_->mutex);
    const auto found = queue_->waiting.find(key);
    return found == queue_->waiting.end() ? std::nullopt : std::optional(found->second);
}

bool PreferenceWriter::flush(std::chrono::milliseconds longest) {
    std::unique_lock lock(queue_->mutex);
    if (queue_->waiting.empty()) return true;
    queue_->isUrgent = true;
    startThread();
    queue_->wake.notify_all();
    return queue_->settled.wait_for(lock, longest, [this] { return queue_->waiting.empty(); });
}

void PreferenceWriter::startThread() {
    if (thread_.joinable()) return;
    try {
        thread_ = std::thread([queue = queue_] { run(*queue); });
    } catch (const std::system_error&) {
        // The next call may find a thread; until then the values wait.
    }
}

void PreferenceWriter::run(Queue& queue) {
    std::unique_lock lock(queue.mutex);
    while (true) {
        queue.wake.wait(lock, [&] { return !queue.waiting.empty() || queue.isEnding; });
        if (queue.waiting.empty()) break;
        const PreferenceFile::Values batch = queue.waiting;
        const bool isLast = queue.isEnding;
        queue.isUrgent = false;
        lock.unlock();
        const bool isWritten = PreferenceFile::write(queue.file, batch);
        lock.lock();
        if (isWritten) {
            for (const auto& [key, value] : batch) {
                // A value that was given meanwhile has its turn.
                const auto found = queue.waiting.find(key);
                if (found->second.text == value.text) queue.waiting.erase(found);
            }
            queue.settled.notify_all();
        } else if (isLast) {
            break;
        } else {
            queue.wake.wait_for(lock, pauseAfterFailure,
                                [&] { return queue.isUrgent || queue.isEnding; });
        }
    }
    queue.hasEnded = true;
    queue.settled.notify_all();
}

}  // namespace vantry
