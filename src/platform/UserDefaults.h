#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace vantry {

/// The preference store: named texts, kept per domain in a JSON file of mode 0600 that is replaced
/// atomically.
///
/// Threads: any may read, change and observe, the main one too, for nothing here waits for a lock
/// of another process or for the disk to have taken something. A read is one of the file, but for
/// what this object or a copy changed and is still on its way there, which is read back at once. A
/// change is put into a queue, and a thread of this domain, begun with the first change, brings it
/// to the file: in order, the last value of a key, under a lock beside the file, so that two
/// processes lose nothing of each other's. While the lock cannot be had or the file not be written,
/// it is tried again each second. The end of the last copy's life waits for the queue, a second at
/// most; what the disk has not taken by then may be lost.
///
/// A file that is no JSON object counts as empty. Values of other kinds than asked for count as
/// absent and are kept when another key is written.
///
/// A copy tells the observers of the original and the other way round. Changes that another
/// process makes, or another object for the same file, are seen by the next read alone, once they
/// are in the file.
class UserDefaults {
  public:
    /// The domain's file is `directory`/`domain`.json; the directory is made at the first write.
    UserDefaults(const std::filesystem::path& directory, std::string_view domain);

    std::optional<std::string> string(std::string_view key) const;

    /// What is to be stored of a value that several processes add to: made of what stands in the
    /// file by then, nothing where that is no text, and of the value that was set. Runs on the
    /// thread that writes.
    using Merge = std::function<std::string(const std::optional<std::string>& stored,
                                            const std::string& own)>;

    struct Change {
        std::map<std::string, std::string> set;
        std::set<std::string> remove;        ///< values of any kind; a key that is set too is set
        std::map<std::string, Merge> merge;  ///< of keys that are set
    };
    /// Returns at once. The file gets the whole change or nothing of it. False, and nothing is
    /// changed, for a text that is not UTF-8. What changes nothing writes nothing.
    bool change(const Change& change);

    bool setStrings(const std::map<std::string, std::string>& values) {
        return change({.set = values});
    }
    bool setString(const std::string& key, const std::string& value) {
        return setStrings({{key, value}});
    }
    bool remove(const std::string& key) { return change({.remove = {key}}); }

    /// Waits until the file has every change, `longest` at most; whether it has.
    bool flush(std::chrono::milliseconds longest = std::chrono::seconds(1));

    /// An observer is told as long as its handle lives: once the handle is gone its handler
    /// neither runs nor will. The handle may be given up from within the handler.
    class Observation {
      public:
        virtual ~Observation() = default;
    };
    using ObservationHandle = std::unique_ptr<Observation>;
    using Observer = std::function<void(const std::set<std::string>& keys)>;

    /// Calls `observer` after each change with the keys whose values are others now, on the thread
    /// that made the change. It may read and change preferences.
    [[nodiscard]] ObservationHandle observe(Observer observer) const;

  private:
    struct Domain;
    struct Observers;
    struct HeldObservation;

    std::set<std::string> enqueue(const Change& change);

    std::shared_ptr<Domain> domain_;
    std::shared_ptr<Observers> observers_;
};

}  // namespace vantry
