#include <algorithm>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include "local/cache/SessionUsageCache.h"

namespace vantry {

bool SessionUsageCache::begin() {
    if (isWriting_) return true;
    const auto start = store_->beginWriting();
    isWriting_ = start == SessionStore::WriteStart::ready;
    if (start == SessionStore::WriteStart::outdated) isOutdated_ = true;
    return isWriting_;
}

// Memory holds no more than it must: a first read has hundreds of megabytes.
void SessionUsageCache::spill() {
    if (!begin()) {
        maySpill_ = false;
        return;
    }
    for (auto& [id, parts] : unsaved_) {
        if (!parts.events) continue;
        store_->putPart(id, SessionPart::events, *parts.events);
        parts.events.reset();
    }
    hasSpilled_ = true;
    unsavedBytes_ = 0;
    if (!store_->isWriting()) loseSpilled();
}

// What was given to the store is nowhere: the logs have to be read again, and kept in memory.
void SessionUsageCache::loseSpilled() {
    store_->rollBack();
    isWriting_ = false;
    hasSpilled_ = false;
    isOutdated_ = true;
    isSpillLost_ = true;
    maySpill_ = false;
}

void SessionUsageCache::writeAll() {
    for (const std::int64_t id : erased_) store_->erase(id);
    const auto put = [&](const std::string& home, const KnownSession& session, bool isGone) {
        store_->put({.id = session.id,
                     .home = home,
                     .path = session.path,
                     .isGone = isGone,
                     .head = recordBytes(session.head)});
    };
    // First those that make room: of logs that are there, one alone may have a path.
    for (const Stranger& stranger : strangers_) {
        put(stranger.home, stranger.session, stranger.isGone);
    }
    for (const auto& [segment, versions] : gone) {
        for (const KnownSession& session : versions) {
            if (session.isUnsaved) put(home_, session, true);
        }
    }
    for (const auto& [path, session] : live) {
        if (session.isUnsaved) put(home_, session, false);
    }
    for (const auto& [id, parts] : unsaved_) {
        if (parts.events) store_->putPart(id, SessionPart::events, *parts.events);
        if (parts.share) store_->putPart(id, SessionPart::share, *parts.share);
    }
    for (const auto& [name, bytes] : unsavedValues_) store_->setValue(name, bytes);
}

void SessionUsageCache::noteChangedLists() {
    if (haveTroublesChanged_) setHomeValue("troubles", recordBytes(troubles));
    if (!hasCoverageChanged_) return;
    std::set<std::uint64_t> known;
    for (const auto& [path, session] : live) known.insert(session.head.contents);
    for (const auto& [segment, versions] : gone) {
        for (const KnownSession& session : versions) known.insert(session.head.contents);
    }
    std::vector<SessionCoverage> list;
    for (const auto& [pair, isCovered] : coverage_) {
        if (!known.contains(pair.first) || !known.contains(pair.second)) continue;
        list.push_back({.part = static_cast<std::int64_t>(pair.first),
                        .whole = static_cast<std::int64_t>(pair.second),
                        .isCovered = isCovered});
    }
    setHomeValue("coverage", recordBytes(list));
}

bool SessionUsageCache::hasUnsaved() const {
    const auto isUnsaved = [](const KnownSession& session) { return session.isUnsaved; };
    return isWriting_ || haveTroublesChanged_ || hasCoverageChanged_ || !unsaved_.empty() ||
           !erased_.empty() || !unsavedValues_.empty() || !strangers_.empty() ||
           std::ranges::any_of(live, [&](const auto& each) { return isUnsaved(each.second); }) ||
           std::ranges::any_of(
               gone, [&](const auto& each) { return std::ranges::any_of(each.second, isUnsaved); });
}

SessionUsageCache::Saving SessionUsageCache::save() {
    const std::lock_guard lock(mutex_);
    if (isOutdated_) {
        if (isWriting_) store_->rollBack();
        isWriting_ = false;
        hasSpilled_ = false;
        return Saving::outdated;
    }
    if (!hasUnsaved()) return Saving::done;
    noteChangedLists();
    if (!begin()) return isOutdated_ ? Saving::outdated : Saving::unsaved;
    writeAll();
    isWriting_ = false;
    if (!store_->commit()) {
        if (!hasSpilled_) return Saving::unsaved;
        loseSpilled();
        return Saving::outdated;
    }
    hasSpilled_ = false;
    isSpillLost_ = false;
    noteSaved();
    return Saving::done;
}

void SessionUsageCache::noteSaved() {
    for (auto& [path, session] : live) session.isUnsaved = false;
    for (auto& [segment, versions] : gone) {
        for (KnownSession& session : versions) session.isUnsaved = false;
    }
    unsaved_.clear();
    unsavedBytes_ = 0;
    erased_.clear();
    unsavedValues_.clear();
    strangers_.clear();
    haveTroublesChanged_ = false;
    hasCoverageChanged_ = false;
    firstUnstoredId_ = nextId_;
    if (formerFiles_.empty() || !store_->settle()) return;
    std::error_code error;
    for (const auto& file : formerFiles_) std::filesystem::remove(file, error);
    formerFiles_.clear();
}

}  // namespace vantry
