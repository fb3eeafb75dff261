#include "platform/UserDefaults.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/AtomicFile.h"
#include "platform/FileDescriptor.h"
#include "platform/JsonReader.h"
#include "platform/JsonWriter.h"

namespace vantry {

namespace {

constexpr std::size_t byteLimit = 1'048'576;

/// What stands in the file: no text where there is no file, nothing where it cannot be read.
std::optional<std::string> readDomain(const std::filesystem::path& file) {
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

/// Held as long as the descriptor is open, by one writer of all processes.
FileDescriptor lockBeside(const std::filesystem::path& file) {
    const std::string path = file.string() + ".lock";
    FileDescriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (lock.isOpen() && ::flock(lock.number(), LOCK_EX) != 0) lock.close();
    return lock;
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

}  // namespace

UserDefaults::UserDefaults(const std::filesystem::path& directory, std::string_view domain)
    : file_(directory / (std::string(domain) + ".json")) {}

std::optional<std::string> UserDefaults::string(std::string_view key) const {
    const auto contents = readDomain(file_);
    const auto document = contents ? JsonDocument::parse(*contents) : std::nullopt;
    const auto text = document ? document->root()[key].text() : std::nullopt;
    if (!text) return std::nullopt;
    return std::string(*text);
}

bool UserDefaults::setStrings(const std::map<std::string, std::string>& values) {
    std::error_code error;
    std::filesystem::create_directories(file_.parent_path(), error);
    const FileDescriptor lock = lockBeside(file_);
    const auto contents = readDomain(file_);
    if (error || !lock.isOpen() || !contents) return false;
    JsonValue::Object members;
    if (const auto document = JsonDocument::parse(*contents)) {
        document->root().forEachMember([&](std::string_view known, JsonView member) {
            members.emplace(known, copyOf(member));
            return true;
        });
    }
    for (const auto& [key, value] : values) members.insert_or_assign(key, JsonValue(value));
    const auto text = writeJson(JsonValue(std::move(members)), JsonLayout::pretty);
    return text && !replaceFileAtomically(file_, *text + "\n");
}

}  // namespace vantry
