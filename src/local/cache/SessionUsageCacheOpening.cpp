#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

#include "local/cache/SessionUsageCache.h"
#include "platform/Text.h"

namespace vantry {

namespace fs = std::filesystem;

namespace {

/// What a folder keeps when it is renamed; nothing where the file system does not say when the
/// folder was made, for numbers alone are given again.
std::optional<std::string> identityOf(const fs::path& folder) {
    struct statx status {};
    if (::statx(AT_FDCWD, folder.c_str(), 0, STATX_INO | STATX_BTIME, &status) != 0 ||
        (status.stx_mask & STATX_BTIME) == 0) {
        return std::nullopt;
    }
    return std::to_string(status.stx_dev_major) + ":" + std::to_string(status.stx_dev_minor) + ":" +
           std::to_string(status.stx_ino) + ":" + std::to_string(status.stx_btime.tv_sec) + "." +
           std::to_string(status.stx_btime.tv_nsec);
}

std::string moved(const std::string& path, const std::string& from, const std::string& to) {
    const bool isBelow =
        path.size() > from.size() && path.starts_with(from) && path[from.size()] == '/';
    return isBelow ? to + path.substr(from.size()) : path;
}

template <class Value>
Value valueOf(const std::optional<std::string>& bytes) {
    auto value = bytes ? recordOfBytes<Value>(*bytes) : std::nullopt;
    return value ? *std::move(value) : Value{};
}

}  // namespace

SessionUsageCache::Saved::Saved(const fs::path& file, const fs::path& codexHome)
    : store_(file), home_(validUtf8(codexHome.native())) {}

std::optional<std::string> SessionUsageCache::Saved::homeValue(const std::string& name) {
    return store_.value(keyOf(home_, name));
}

void SessionUsageCache::open(const Opening& opening) {
    const std::string home = validUtf8(opening.codexHome.native());
    const bool isOtherStore = store_ == nullptr || file_ != opening.file;
    const bool isOtherHome = isOtherStore || home_ != home;
    if (isOtherHome) {
        if (!isOtherStore) save();
        forgetHome();
        home_ = home;
    }
    if (isOtherStore) {
        file_ = opening.file;
        store_ = std::make_unique<SessionStore>(opening.file);
        isWriting_ = false;
        hasSpilled_ = false;
        isSpillLost_ = false;
    }
    const bool isLoaded = (isOtherHome || isOutdated_ || store_->hasChanged()) && load();
    if (isLoaded) isOutdated_ = false;
    maySpill_ = false;
    if ((isLoaded || isOtherStore) && !opening.formerDirectory.empty() && !value("takenOver")) {
        adopt(CodexUsageReader::readSessionTakeover(opening.formerDirectory));
    }
    maySpill_ = opening.maySpill && !isSpillLost_;
    adoptHome(opening.codexHome);
}

void SessionUsageCache::forgetHome() {
    live.clear();
    gone.clear();
    troubles.clear();
    coverage_.clear();
    unsaved_.clear();
    unsavedBytes_ = 0;
    erased_.clear();
    unsavedValues_.clear();
    strangers_.clear();
    formerFiles_.clear();
    loadedShares_.clear();
    damaged_.clear();
    isLoaded_ = false;
    haveTroublesChanged_ = false;
    hasCoverageChanged_ = false;
    isOutdated_ = false;
}

bool SessionUsageCache::load() {
    auto rows = store_->sessions(home_);
    if (!rows) return false;
    const auto formerLive = std::exchange(live, {});
    const auto formerGone = std::exchange(gone, {});
    auto parts = std::exchange(unsaved_, {});
    forgetHome();
    isLoaded_ = true;
    nextId_ = std::max(nextId_, store_->nextId());
    firstUnstoredId_ = nextId_;
    live.reserve(rows->size());
    for (StoredSession& row : *rows) {
        auto head = recordOfBytes<SessionHead>(row.head);
        if (!head) {
            erased_.insert(row.id);
            if (row.isGone) setValue("lost", file_.native());
            continue;
        }
        KnownSession session{.id = row.id, .path = std::move(row.path), .head = *std::move(head)};
        if (row.isGone) {
            gone[segmentOf(session)].push_back(std::move(session));
        } else {
            std::string path = session.path;
            live.emplace(std::move(path), std::move(session));
        }
    }
    // What could not be saved yet, as far as nobody else has saved anything of it.
    const auto takeBack = [&](const KnownSession& session) -> std::optional<KnownSession> {
        const auto known = parts.find(session.id);
        if (!session.isUnsaved || known == parts.end() || !known->second.events) {
            return std::nullopt;
        }
        KnownSession again = session;
        again.id = nextId_++;
        again.head.shareSources = 0;
        unsavedBytes_ += known->second.events->size();
        unsaved_[again.id].events = std::move(known->second.events);
        return again;
    };
    for (const auto& [path, session] : formerLive) {
        if (live.contains(path)) continue;
        if (auto again = takeBack(session)) live.emplace(path, *std::move(again));
    }
    for (const auto& [segment, versions] : formerGone) {
        for (const KnownSession& session : versions) {
            if (auto again = takeBack(session)) keepGone(*std::move(again));
        }
    }
    troubles = valueOf<std::map<std::string, KnownSessionTrouble>>(homeValue("troubles"));
    for (const SessionCoverage& each :
         valueOf<std::vector<SessionCoverage>>(homeValue("coverage"))) {
        coverage_[{static_cast<std::uint64_t>(each.part), static_cast<std::uint64_t>(each.whole)}] =
            each.isCovered;
    }
    return true;
}

void SessionUsageCache::adopt(const SessionTakeover& takeover) {
    for (const SessionTakeover::Session& former : takeover.sessions) {
        KnownSession session = takeIn(former.path, formsOf(former.entry));
        if (former.entry.home != home_) {
            strangers_.push_back(
                {.home = former.entry.home, .session = session, .isGone = former.isGone});
        } else if (former.isGone) {
            keepGone(std::move(session));
        } else if (!live.contains(former.path)) {
            setLive(std::move(session));
        } else {
            eraseParts(session.id);
        }
    }
    for (const auto& [path, trouble] : takeover.troubles) {
        if (moved(path, home_, "") != path) troubles.emplace(path, trouble);
    }
    haveTroublesChanged_ = haveTroublesChanged_ || !takeover.troubles.empty();
    auto homes = knownHomes();
    homes.insert(takeover.homes.begin(), takeover.homes.end());
    setValue("homes", recordBytes(homes));
    setValue("takenOver", "1");
    formerFiles_ = takeover.files;
}

void SessionUsageCache::adoptHome(const fs::path& codexHome) {
    const auto identity = identityOf(codexHome);
    if (!identity) return;
    auto homes = knownHomes();
    const auto known = homes.find(home_);
    if (known != homes.end() && known->second == *identity) return;
    const auto before = std::ranges::find_if(
        homes, [&](const auto& each) { return each.first != home_ && each.second == *identity; });
    if (before != homes.end()) {
        // Who was here before goes with its own folder, wherever that is now.
        if (known != homes.end()) {
            const std::string aside = home_ + " " + known->second;
            moveAway(aside);
            homes.insert_or_assign(aside, known->second);
        }
        moveHere(before->first);
        homes.erase(before);
    }
    homes.insert_or_assign(home_, *identity);
    setValue("homes", recordBytes(homes));
}

void SessionUsageCache::moveAway(const std::string& to) {
    const auto give = [&](KnownSession session, bool isGone) {
        session.path = moved(session.path, home_, to);
        strangers_.push_back({.home = to, .session = std::move(session), .isGone = isGone});
    };
    for (auto& [path, session] : live) give(std::move(session), false);
    for (auto& [segment, versions] : gone) {
        for (KnownSession& session : versions) give(std::move(session), true);
    }
    live.clear();
    gone.clear();
}

void SessionUsageCache::moveHere(const std::string& from) {
    auto rows = store_->moreSessions(from);
    for (StoredSession& row : rows ? *rows : std::vector<StoredSession>{}) {
        auto head = recordOfBytes<SessionHead>(row.head);
        if (!head) continue;
        KnownSession session{.id = row.id,
                             .path = moved(row.path, from, home_),
                             .head = *std::move(head),
                             .isUnsaved = true};
        if (row.isGone) {
            gone[segmentOf(session)].push_back(std::move(session));
        } else {
            setLive(std::move(session));
        }
    }
    // Of another version's files, which are not in the store yet.
    for (Stranger& stranger : strangers_) {
        if (stranger.home != from) continue;
        stranger.session.path = moved(stranger.session.path, from, home_);
        if (stranger.isGone) {
            keepGone(std::move(stranger.session));
        } else {
            setLive(std::move(stranger.session));
        }
    }
    std::erase_if(strangers_, [&](const Stranger& stranger) { return stranger.home == from; });
}

}  // namespace vantry
