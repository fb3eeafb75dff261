#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <thread>

#include "platform/PreferenceFile.h"

namespace vantry {

/// Brings the values of one preference file to the disk, on a thread of its own that begins with
/// the first of them. Nobody but a flush and the end waits for that thread.
///
/// What waits is written together, the last value of each key. What could not be written, because
/// another process holds the lock or the disk is full, stays and is tried again every second.
class PreferenceWriter {
  public:
    /// The longest that the end of its life waits for what is still to be written.
    static constexpr std::chrono::milliseconds endingTime{1'000};

    explicit PreferenceWriter(const std::filesystem::path& file);
    PreferenceWriter(const PreferenceWriter&) = delete;
    PreferenceWriter& operator=(const PreferenceWriter&) = delete;
    /// Writes what waits. What the disk has not taken after endingTime may be lost: the thread is
    /// left alone with it then.
    ~PreferenceWriter();

    /// Returns at once. Any thread.
    void write(const PreferenceFile::Values& values);

    /// What the key becomes and is not known to be on the disk yet. Any thread.
    std::optional<PreferenceFile::Value> waiting(std::string_view key) const;

    /// Waits until everything is on the disk, `longest` at most, and says whether it is. Any
    /// thread.
    bool flush(std::chrono::milliseconds longest);

  private:
    struct Queue;
    static void run(Queue& queue);
    void startThread();

    std::shared_ptr<Queue> queue_;
    std::thread thread_;  // under the queue's mutex
};

}  // namespace vantry
