#include "platform/UserDefaults.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <mutex>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

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

bool holdsAny(const std::string& contents, const std::set<std::string>& keys) {
    const auto document = JsonDocument::parse(contents);
    return document && std::ranges::any_of(keys, [&](const std::string& key) {
               return !document->root()[key].isMissing();
           });
}

// The keys whose values are others now; nothing when the change could not be made.
std::optional<std::set<std::string>> make(const UserDefaults::Change& change,
                                          const std::filesystem::path& file) {
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    const FileDescriptor lock = lockBeside(file);
    const auto contents = readDomain(file);
    if (error || !lock.isOpen() || !contents) return std::nullopt;
    const auto document = JsonDocument::parse(*contents);
    JsonValue::Object members = membersOf(document);
    std::set<std::string> changed;
    for (const std::string& key : change.remove) {
        if (members.erase(key) > 0 && !change.set.contains(key)) changed.insert(key);
    }
    for (const auto& [key, value] : change.set) {
        members.insert_or_assign(key, JsonValue(value));
        if (!document || document->root()[key].text() != value) changed.insert(key);
    }
    if (changed.empty() && document) return changed;
    const auto text = writeJson(JsonValue(std::move(members)), JsonLayout::pretty);
    if (!text || replaceFileAtomically(file, *text + "\n")) return std::nullopt;
    return changed;
}

}  // namespace

// Whom to tell, by this object and its copies.
struct UserDefaults::Observers {
    struct Entry {
        std::recursive_mutex mutex;  // held while the handler runs, which may end itself
        Observer observer;
        bool isOver = false;  // under mutex
    };

    void tell(const std::set<std::string>& keys) {
        std::vector<std::shared_ptr<Entry>> told;
        {
            const std::lock_guard lock(mutex);
            std::erase_if(entries, [](const auto& entry) { return entry.expired(); });
            for (const auto& entry : entries) told.push_back(entry.lock());
        }
        for (const auto& entry : told) {
            if (!entry) continue;
            const std::lock_guard lock(entry->mutex);
            if (!entry->isOver) entry->observer(keys);
        }
    }

    std::mutex mutex;
    std::vector<std::weak_ptr<Entry>> entries;  // under mutex
};

struct UserDefaults::HeldObservation : Observation {
    explicit HeldObservation(std::shared_ptr<Observers::Entry> held) : entry(std::move(held)) {}
    ~HeldObservation() override {
        const std::lock_guard lock(entry->mutex);
        entry->isOver = true;
    }

    std::shared_ptr<Observers::Entry> entry;
};

UserDefaults::UserDefaults(const std::filesystem::path& directory, std::string_view domain)
    : file_(directory / (std::string(domain) + ".json")),
      observers_(std::make_shared<Observers>()) {}

std::optional<std::string> UserDefaults::string(std::string_view key) const {
    const auto contents = readDomain(file_);
    const auto document = contents ? JsonDocument::parse(*contents) : std::nullopt;
    const auto text = document ? document->root()[key].text() : std::nullopt;
    if (!text) return std::nullopt;
    return std::string(*text);
}

bool UserDefaults::change(const Change& change) {
    if (change.set.empty()) {
        const auto contents = readDomain(file_);
        if (contents && !holdsAny(*contents, change.remove)) return true;
    }
    const auto changed = make(change, file_);
    // The file's lock is free by now: an observer may change preferences in its turn.
    if (changed && !changed->empty()) observers_->tell(*changed);
    return changed.has_value();
}

UserDefaults::ObservationHandle UserDefaults::observe(Observer observer) const {
    auto entry = std::make_shared<Observers::Entry>();
    entry->observer = std::move(observer);
    {
        const std::lock_guard lock(observers_->mutex);
        observers_->entries.push_back(entry);
    }
    return std::make_unique<HeldObservation>(std::move(entry));
}

}  // namespace vantry
