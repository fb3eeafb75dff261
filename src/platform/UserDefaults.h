#pragma once

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
/// atomically. Any thread. Every call reads the file, and a change is made under a lock beside it,
/// so that two processes see each other's changes and lose none; preferences are read rarely.
///
/// A file that is no JSON object counts as empty. Values of other kinds than asked for count as
/// absent and are kept when another key is written.
///
/// A copy tells the observers of the original and the other way round. Changes that another
/// process makes, or another object for the same file, are seen by the next read alone.
class UserDefaults {
  public:
    /// The domain's file is `directory`/`domain`.json; the directory is made at the first write.
    UserDefaults(const std::filesystem::path& directory, std::string_view domain);

    std::optional<std::string> string(std::string_view key) const;

    struct Change {
        std::map<std::string, std::string> set;
        std::set<std::string> remove;  ///< values of any kind; a key that is set too is set
    };
    /// Makes the whole change or none of it. False when the file could not be read or written; the
    /// old file then stands. To remove what is not there writes nothing.
    bool change(const Change& change);

    bool setStrings(const std::map<std::string, std::string>& values) {
        return change({.set = values});
    }
    bool setString(const std::string& key, const std::string& value) {
        return setStrings({{key, value}});
    }
    bool remove(const std::string& key) { return change({.remove = {key}}); }

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
    struct Observers;
    struct HeldObservation;

    std::filesystem::path file_;
    std::shared_ptr<Observers> observers_;
};

}  // namespace vantry
