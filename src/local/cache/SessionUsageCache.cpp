#include "local/cache/SessionUsageCache.h"

#include <algorithm>
#include <utility>

#include "local/cache/SessionVersions.h"
#include "local/log/SessionLogReader.h"

namespace vantry {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t spillBytes = 12 * 1024 * 1024;

}  // namespace

fs::path sessionStoreFile(const fs::path& directory) {
    return directory.empty() ? fs::path() : directory / "session-usage.sqlite";
}

std::string segmentOf(const KnownSession& session) {
    return CodexUsageReader::sessionSegmentId(session.path, session.head.lineage.threadId);
}

std::map<std::string, std::string> SessionUsageCache::knownHomes() {
    using Homes = std::map<std::string, std::string>;
    const auto bytes = value("homes");
    return bytes ? recordOfBytes<Homes>(*bytes).value_or(Homes()) : Homes();
}

std::string SessionUsageCache::lostFile() {
    std::error_code error;
    if (!isLoaded_ && fs::exists(file_, error)) return file_.native();
    return value("lost").value_or("");
}

std::optional<std::string> SessionUsageCache::bytesOf(std::int64_t id, SessionPart kind) {
    const std::lock_guard lock(mutex_);
    const auto known = unsaved_.find(id);
    if (known != unsaved_.end()) {
        const Parts& parts = known->second;
        if (kind == SessionPart::share && parts.share) return parts.share;
        if (kind == SessionPart::events && parts.events) return parts.events;
    }
    return store_->part(id, kind);
}

SessionUsageCache::EntryPointer SessionUsageCache::entry(const KnownSession& session) {
    const auto events = bytesOf(session.id, SessionPart::events);
    auto found = events ? entryOf(session.head, *events) : std::nullopt;
    if (!found) return nullptr;
    return std::make_shared<const SessionUsageCacheEntry>(*std::move(found));
}

KnownSession SessionUsageCache::takeIn(const std::string& path, SessionEntryForms forms) {
    KnownSession session{.path = path, .head = std::move(forms.head), .isUnsaved = true};
    const std::lock_guard lock(mutex_);
    session.id = nextId_++;
    unsavedBytes_ += forms.events.size();
    unsaved_[session.id].events = std::move(forms.events);
    if (unsavedBytes_ > spillBytes && maySpill_) spill();
    return session;
}

void SessionUsageCache::keepShare(KnownSession& session, std::uint64_t sources,
                                  const SessionShare& share) {
    std::string bytes = recordBytes(share);
    session.head.shareSources = sources;
    session.head.shareLastActiveAt = share.lastActiveAt();
    session.head.shareNextWaiting = share.nextWaiting();
    session.isUnsaved = true;
    const std::lock_guard lock(mutex_);
    unsaved_[session.id].share = std::move(bytes);
}

void SessionUsageCache::dropShare(KnownSession& session) {
    const std::lock_guard lock(mutex_);
    const auto parts = unsaved_.find(session.id);
    if (parts != unsaved_.end()) parts->second.share.reset();
    loadedShares_.erase(session.id);
    session.head.shareSources = 0;
    session.isUnsaved = true;
}

void SessionUsageCache::giveUp(KnownSession& session, bool isGone) {
    dropShare(session);
    session.head.isCurrent = false;
    if (isGone && !isOutOfReach(session)) session.head.tellNothing();
}

bool SessionUsageCache::isOutOfReach(const KnownSession& session) {
    const std::lock_guard lock(mutex_);
    return store_->isOutOfReach(session.id, SessionPart::events);
}

void SessionUsageCache::loadShares() {
    const std::lock_guard lock(mutex_);
    loadedShares_.reserve(live.size());
    store_->forEachPart(home_, SessionPart::share, [&](std::int64_t id, std::string_view bytes) {
        loadedShares_.insert_or_assign(id, bytes);
    });
}

std::optional<SessionShare> SessionUsageCache::share(std::int64_t id) {
    const std::lock_guard lock(mutex_);
    const auto unsaved = unsaved_.find(id);
    if (unsaved != unsaved_.end() && unsaved->second.share) {
        return recordOfBytes<SessionShare>(*unsaved->second.share);
    }
    const auto loaded = loadedShares_.find(id);
    if (loaded != loadedShares_.end()) return recordOfBytes<SessionShare>(loaded->second);
    const auto bytes = store_->part(id, SessionPart::share);
    return bytes ? recordOfBytes<SessionShare>(*bytes) : std::nullopt;
}

void SessionUsageCache::eraseParts(std::int64_t id) {
    const std::lock_guard lock(mutex_);
    const auto parts = unsaved_.find(id);
    if (parts != unsaved_.end()) {
        if (parts->second.events) unsavedBytes_ -= parts->second.events->size();
        unsaved_.erase(parts);
    }
    if (id < firstUnstoredId_ || hasSpilled_) erased_.insert(id);
}

void SessionUsageCache::setLive(KnownSession session) {
    const auto known = live.find(session.path);
    if (known == live.end()) {
        std::string path = session.path;
        live.emplace(std::move(path), std::move(session));
        return;
    }
    eraseParts(known->second.id);
    known->second = std::move(session);
}

SessionUsageCache::Place SessionUsageCache::eraseLive(Place place) {
    eraseParts(place->second.id);
    return live.erase(place);
}

SessionUsageCache::Place SessionUsageCache::retire(Place place) {
    KnownSession session = std::move(place->second);
    place = live.erase(place);
    session.isUnsaved = true;
    keepGone(std::move(session));
    return place;
}

void SessionUsageCache::keepGone(KnownSession session) {
    const std::string segment = segmentOf(session);
    auto& versions = gone[segment];
    const bool isTold =
        !session.head.holdsUsage() || std::ranges::any_of(versions, [&](const KnownSession& kept) {
            return isCovered(session, kept);
        });
    if (isTold) {
        eraseParts(session.id);
    } else {
        std::erase_if(versions, [&](const KnownSession& kept) {
            const bool isBetter = isCovered(kept, session);
            if (isBetter) eraseParts(kept.id);
            return isBetter;
        });
        versions.push_back(std::move(session));
    }
    if (versions.empty()) gone.erase(segment);
}

std::optional<KnownSession> SessionUsageCache::copyOf(const KnownSession& session) {
    auto events = bytesOf(session.id, SessionPart::events);
    if (!events) return std::nullopt;
    SessionHead head = session.head;
    head.shareSources = 0;
    return takeIn(session.path, {.head = std::move(head), .events = *std::move(events)});
}

void SessionUsageCache::forgetReturned(const std::string& segment, const KnownSession& session) {
    const auto versions = gone.find(segment);
    if (versions == gone.end()) return;
    std::erase_if(versions->second, [&](const KnownSession& kept) {
        const bool isBack = isCovered(kept, session);
        if (isBack) eraseParts(kept.id);
        return isBack;
    });
    if (versions->second.empty()) gone.erase(versions);
}

std::size_t SessionUsageCache::forgetGone() {
    std::size_t count = 0;
    for (const auto& [segment, versions] : gone) {
        for (const KnownSession& session : versions) eraseParts(session.id);
        count += versions.size();
    }
    gone.clear();
    const auto homes = knownHomes();
    for (const auto& [home, identity] : homes) {
        const auto rows = home == home_ ? std::nullopt : store_->moreSessions(home);
        for (const StoredSession& row : rows ? *rows : std::vector<StoredSession>{}) {
            if (!row.isGone) continue;
            eraseParts(row.id);
            ++count;
        }
    }
    if (!lostFile().empty()) setValue("lost", "");
    return count;
}

bool SessionUsageCache::isCovered(const KnownSession& part, const KnownSession& whole) {
    if (part.head.deltaCount == 0 || part.head.contents == whole.head.contents) return true;
    const std::pair pair(part.head.contents, whole.head.contents);
    const auto known = coverage_.find(pair);
    if (known != coverage_.end()) return known->second;
    const auto partEntry = entry(part);
    const auto wholeEntry = entry(whole);
    // A damaged log holds nothing that could be missed, and tells nothing.
    if (partEntry == nullptr) damaged_.insert(part.id);
    if (wholeEntry == nullptr) damaged_.insert(whole.id);
    if (partEntry == nullptr) return !isOutOfReach(part);
    if (wholeEntry == nullptr) return false;
    const bool isTold = SessionVersions::isCovered(*partEntry, *wholeEntry);
    coverage_.emplace(pair, isTold);
    hasCoverageChanged_ = true;
    return isTold;
}

std::optional<std::string> SessionUsageCache::value(const std::string& name) {
    const auto unsaved = unsavedValues_.find(name);
    if (unsaved != unsavedValues_.end()) return unsaved->second;
    return store_->value(name);
}

void SessionUsageCache::setValue(const std::string& name, std::string bytes) {
    unsavedValues_.insert_or_assign(name, std::move(bytes));
}

}  // namespace vantry
