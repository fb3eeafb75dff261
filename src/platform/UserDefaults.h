#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vantry {

/// The preference store: named texts, kept per domain in a JSON file of mode 0600 that is replaced
/// atomically. Any thread. Every call reads the file, and a change is made under a lock beside it,
/// so that two processes see each other's changes and lose none; preferences are read rarely.
///
/// A file that is no JSON object counts as empty. Values of other kinds than asked for count as
/// absent and are kept when another key is written.
class UserDefaults {
  public:
    /// The domain's file is `directory`/`domain`.json; the directory is made at the first write.
    UserDefaults(const std::filesystem::path& directory, std::string_view domain);

    std::optional<std::string> string(std::string_view key) const;

    /// Sets all of them or none. False when the file could not be read or written; the old file
    /// then stands.
    bool setStrings(const std::map<std::string, std::string>& values);
    bool setString(const std::string& key, const std::string& value) {
        return setStrings({{key, value}});
    }

  private:
    std::filesystem::path file_;
};

}  // namespace vantry
