#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace vantry {

/// The preference store: named texts, kept per domain in a JSON file of mode 0600 that is replaced
/// atomically. Any thread. Every call reads the file, so that two processes see each other's
/// changes; preferences are read rarely.
///
/// A file that cannot be read, or is no JSON object, counts as empty. Values of other kinds than
/// asked for count as absent and are kept when another key is written.
class UserDefaults {
  public:
    /// The domain's file is `directory`/`domain`.json; the directory is made at the first write.
    UserDefaults(const std::filesystem::path& directory, std::string_view domain);

    std::optional<std::string> string(std::string_view key) const;

    /// False when the file could not be written; the old file then stands.
    bool setString(std::string_view key, std::string_view value);

  private:
    std::filesystem::path file_;
    mutable std::mutex mutex_;
};

}  // namespace vantry
