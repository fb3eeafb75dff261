#include "platform/UserDefaults.h"

#include <fstream>
#include <sstream>

#include "platform/AtomicFile.h"
#include "platform/JsonReader.h"
#include "platform/JsonWriter.h"

namespace vantry {

namespace {

std::optional<JsonDocument> readDomain(const std::filesystem::path& file) {
    constexpr std::uintmax_t byteLimit = 1'048'576;
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) return std::nullopt;
    if (std::filesystem::file_size(file, error) > byteLimit || error) return std::nullopt;
    std::ostringstream contents;
    contents << std::ifstream(file, std::ios::binary).rdbuf();
    return JsonDocument::parse(contents.str());
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
    const std::lock_guard lock(mutex_);
    const auto document = readDomain(file_);
    const auto text = document ? document->root()[key].text() : std::nullopt;
    if (!text) return std::nullopt;
    return std::string(*text);
}

bool UserDefaults::setString(std::string_view key, std::string_view value) {
    const std::lock_guard lock(mutex_);
    JsonValue::Object members;
    if (const auto document = readDomain(file_)) {
        document->root().forEachMember([&](std::string_view known, JsonView member) {
            members.emplace(known, copyOf(member));
            return true;
        });
    }
    members.insert_or_assign(std::string(key), JsonValue(value));
    const auto text = writeJson(JsonValue(std::move(members)), JsonLayout::pretty);
    if (!text) return false;
    std::error_code error;
    std::filesystem::create_directories(file_.parent_path(), error);
    return !error && !replaceFileAtomically(file_, *text + "\n");
}

}  // namespace vantry
