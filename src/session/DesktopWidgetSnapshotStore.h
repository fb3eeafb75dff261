#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>

#include "platform/UserDirectories.h"
#include "session/DesktopWidgetSnapshot.h"

namespace vantry {

/// The file that a desktop widget reads. Any thread.
class DesktopWidgetSnapshotStore {
  public:
    static constexpr std::string_view widgetKind = "VantryDesktopWidget";
    /// Some hundred times what a record takes.
    static constexpr std::int64_t byteLimit = 65'536;

    explicit DesktopWidgetSnapshotStore(const UserDirectories& directories);

    const std::filesystem::path& file() const { return file_; }

    /// Nothing for a file that is missing, too large, of another version or not understood.
    std::optional<DesktopWidgetSnapshot> load() const;

    /// Replaces the file atomically and makes its directory. False when that fails, or when load()
    /// would refuse the record; the last file then stands.
    bool save(const DesktopWidgetSnapshot& snapshot) const;

  private:
    std::filesystem::path file_;
};

}  // namespace vantry
