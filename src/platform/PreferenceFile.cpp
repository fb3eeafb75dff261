#include "platform/PreferenceFile.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "platform/AtomicFile.h"
#include "platform/FileDescriptor.h"
#include "platform/JsonWriter.h"

namespace vantry::PreferenceFile {

namespace {

constexpr std::size_t byteLimit = 1'048'576;

/// What stands in the file: no text where there is no file, nothing where it cannot be read.
std::optional<std::string> contentsOf(const std::filesystem::path& file) {
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!descriptor.isOpen())
        return errno == ENOENT ? std::optional<std::string>("") : std::nullopt;
    struct stat status {};
    if (::fstat(descriptor.number(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    std::string text;
    std::array<char, 4096> chunk{};
    while (text.size() <= byteLimit) {
        const ssize_t count = ::read(descriptor.number(), chunk.data(), chunk.size());
        if (count < 0) return std::nullopt;
        if (count == 0) return text;
        text.append(chunk.data(), static_cast<std::size_t>(count));
    }
    return std::nullopt;
}

JsonValue copyOf(JsonView view) {
    switch (view.kind()) {
        case JsonKind::missing:
        case JsonKind::null:
            return {};
        case JsonKind::boolean:
            return *view.boolean();
        case JsonKind::integer:
            return *view.integer();
        case JsonKind::fraction:
            return *view.number();
        case JsonKind::text:
            return *view.text();
        case JsonKind::array: {
            JsonValue::Array elements;
            view.forEachElement([&](JsonView element) {
                elements.push_back(copyOf(element));
                return true;
            });
            return elements;
        }
        case JsonKind::object: {
            JsonValue::Object members;
            view.forEachMember([&](std::string_view key, JsonView member) {
                members.emplace(key, copyOf(member));
                return true;
            });
            return members;
        }
    }
    return {};
}

JsonValue::Object membersOf(const std::optional<JsonDocument>& document) {
    JsonValue::Object members;
    if (!document) return members;
    document->root().forEachMember([&](std::string_view key, JsonView member) {
        members.emplace(key, copyOf(member));
        return true;
    });
    return members;
}

std::string merged(const Value& value, const std::optional<JsonDocument>& document,
                   const std::string& key) {
    if (!value.merge) return *value.text;
    const auto stored = document ? document->root()[key].text() : std::nullopt;
    return value.merge(stored ? std::optional<std::string>(*stored) : std::nullopt, *value.text);
}

}  // namespace

std::optional<JsonDocument> read(const std::filesystem::path& file) {
    const auto contents = contentsOf(file);
    return contents ? JsonDocument::parse(*contents) : std::nullopt;
}

bool write(const std::filesystem::path& file, const Values& values) {
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    const FileDescriptor lock = lockBeside(file);
    const auto contents = contentsOf(file);
    if (error || !lock.isOpen() || !contents) return false;
    const auto document = JsonDocument::parse(*contents);
    JsonValue::Object members = membersOf(document);
    for (const auto& [key, value] : values) {
        if (value.text) {
            members.insert_or_assign(key, JsonValue(merged(value, document, key)));
        } else {
            members.erase(key);
        }
    }
    const auto text = writeJson(JsonValue(std::move(members)), JsonLayout::pretty);
    return text && !replaceFileAtomically(file, *text + "\n");
}

}  // namespace vantry::PreferenceFile
