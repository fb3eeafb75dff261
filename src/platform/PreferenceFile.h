#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "platform/JsonReader.h"

/// The JSON file of one preference domain. Every call reads it anew. Any thread.
namespace vantry::PreferenceFile {

/// What a key has to become.
struct Value {
    std::optional<std::string> text;  ///< absent: the key goes
    /// With one, what is stored is its answer to what stands in the file (nothing where that is no
    /// text) and to `text`. Called under the file's lock, on the thread that writes.
    std::function<std::string(const std::optional<std::string>& stored, const std::string& text)>
        merge;
};
using Values = std::map<std::string, Value, std::less<>>;

/// The file's object; nothing where there is none that can be understood. Waits for no lock.
std::optional<JsonDocument> read(const std::filesystem::path& file);

/// Changes these keys and keeps all others, under a lock beside the file: all of the values or
/// none. A file that is no JSON counts as empty. False when the file could not be read or written,
/// or the lock not be had; the old file then stands. Blocks up to a second for the lock, and as
/// long as the disk takes.
bool write(const std::filesystem::path& file, const Values& values);

}  // namespace vantry::PreferenceFile
