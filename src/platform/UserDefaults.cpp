#include "platform/UserDefaults.h"

#include <mutex>
#include <utility>
#include <vector>

#include "platform/JsonWriter.h"
#include "platform/PreferenceFile.h"
#include "platform/PreferenceWriter.h"

namespace vantry {

namespace {

bool isStorable(const UserDefaults::Change& change) {
    JsonValue::Object members;
    for (const auto& [key, value] : change.set) members.emplace(key, JsonValue(value));
    return writeJson(JsonValue(std::move(members)), JsonLayout::compact).has_value();
}

}  // namespace

/// The file, and what is on its way to it.
struct UserDefaults::Domain {
    explicit Domain(const std::filesystem::path& path) : file(path), writer(path) {}

    const std::filesystem::path file;
    PreferenceWriter writer;
    std::mutex changing;  // held from the comparison of a change to its place in the queue
};

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
    : domain_(std::make_shared<Domain>(directory / (std::string(domain) + ".json"))),
      observers_(std::make_shared<Observers>()) {}

std::optional<std::string> UserDefaults::string(std::string_view key) const {
    // In this order: a value leaves the queue when the file has it.
    if (const auto waiting = domain_->writer.waiting(key)) return waiting->text;
    const auto document = PreferenceFile::read(domain_->file);
    const auto text = document ? document->root()[key].text() : std::nullopt;
    if (!text) return std::nullopt;
    return std::string(*text);
}

bool UserDefaults::change(const Change& change) {
    if (!isStorable(change)) return false;
    const std::set<std::string> changed = enqueue(change);
    // No lock is held by now: an observer may change preferences in its turn.
    if (!changed.empty()) observers_->tell(changed);
    return true;
}

// The keys whose values are others now.
std::set<std::string> UserDefaults::enqueue(const Change& change) {
    const std::lock_guard lock(domain_->changing);
    PreferenceFile::Values asked;
    for (const std::string& key : change.remove) asked[key] = {};
    for (const auto& [key, text] : change.set) {
        const auto merge = change.merge.find(key);
        asked[key] = {.text = text, .merge = merge == change.merge.end() ? Merge() : merge->second};
    }
    PreferenceFile::Values waiting;  // asked for before the file is read, as by string()
    for (const auto& [key, value] : asked) {
        if (auto found = domain_->writer.waiting(key)) waiting.emplace(key, *std::move(found));
    }
    const auto document = PreferenceFile::read(domain_->file);
    PreferenceFile::Values others;
    std::set<std::string> changed;
    for (auto& [key, value] : asked) {
        const auto found = waiting.find(key);
        const JsonView stored = document ? document->root()[key] : JsonView();
        const bool isSame = found != waiting.end() ? found->second.text == value.text
                            : value.text           ? stored.text() == value.text
                                                   : stored.isMissing();
        if (isSame) continue;
        changed.insert(key);
        others.emplace(key, std::move(value));
    }
    if (!others.empty()) domain_->writer.write(others);
    return changed;
}

bool UserDefaults::flush(std::chrono::milliseconds longest) {
    return domain_->writer.flush(longest);
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
