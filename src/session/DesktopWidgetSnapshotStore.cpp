#include "session/DesktopWidgetSnapshotStore.h"

#include <system_error>

#include "diagnostics/DebugLog.h"
#include "io/BoundedCacheData.h"
#include "platform/AtomicFile.h"

namespace vantry {

namespace {

std::optional<DesktopWidgetSnapshot> snapshotIn(std::string_view text) {
    const auto document = JsonDocument::parse(text);
    if (!document) return std::nullopt;
    // A record of another version may have any shape.
    const auto version = document->root()["schemaVersion"].integer();
    if (version != DesktopWidgetSnapshot::currentSchemaVersion) return std::nullopt;
    DesktopWidgetSnapshot snapshot;
    if (!decode(document->root(), snapshot)) return std::nullopt;
    return snapshot;
}

}  // namespace

DesktopWidgetSnapshotStore::DesktopWidgetSnapshotStore(const UserDirectories& directories)
    : file_(directories.data / "Vantry" / "desktop-widget-snapshot-v1.json") {}

std::optional<DesktopWidgetSnapshot> DesktopWidgetSnapshotStore::load() const {
    const auto bytes = boundedCacheData(file_, byteLimit);
    return bytes ? snapshotIn(*bytes) : std::nullopt;
}

bool DesktopWidgetSnapshotStore::save(const DesktopWidgetSnapshot& snapshot) const {
    const auto text = writeJson(encode(snapshot, RecordForm::stored), JsonLayout::compact);
    if (!text || static_cast<std::int64_t>(text->size()) > byteLimit || !snapshotIn(*text)) {
        debugLog("desktop widget snapshot: the record is too large or cannot be encoded");
        return false;
    }
    std::error_code error;
    std::filesystem::create_directories(file_.parent_path(), error);
    if (!error) error = replaceFileAtomically(file_, *text);
    if (error) debugLog("desktop widget snapshot: " + error.message());
    return !error;
}

}  // namespace vantry
