#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "local/cache/SessionShare.h"
#include "local/cache/SessionStore.h"
#include "local/cache/SessionTakeover.h"
#include "local/index/SessionLogFiles.h"
#include "local/log/SessionHead.h"
#include "local/log/SessionTrouble.h"

namespace vantry {

/// A log that is known, there or gone.
struct KnownSession {
    std::int64_t id = 0;  ///< by which its parts are kept
    std::string path;
    SessionHead head;
    bool isUnsaved = false;  ///< the store does not have it like this

    friend bool operator==(const KnownSession&, const KnownSession&) = default;
};

/// Whether one log tells all of another, by the numbers that stand for what they say.
struct SessionCoverage {
    std::int64_t part = 0;
    std::int64_t whole = 0;
    bool isCovered = false;
};

template <>
struct RecordFields<SessionCoverage> {
    static constexpr std::tuple list{field("part", &SessionCoverage::part),
                                     field("whole", &SessionCoverage::whole),
                                     field("isCovered", &SessionCoverage::isCovered)};
};

/// The file of a directory in which it is all kept; an empty path below none.
std::filesystem::path sessionStoreFile(const std::filesystem::path& directory);

/// The name by which other logs speak of one.
std::string segmentOf(const KnownSession& session);

/// What is known of the session logs of one home. Heads are in memory; events and shares lie in
/// the store, and until they are saved, or where there is none, here. Belongs to one reader;
/// one thread unless something else is said.
class SessionUsageCache {
  public:
    using EntryPointer = std::shared_ptr<const SessionUsageCacheEntry>;

    std::unordered_map<std::string, KnownSession> live;  ///< by path
    std::map<std::string, std::vector<KnownSession>>
        gone;                                             ///< by segment; no longer there, counted
    std::map<std::string, KnownSessionTrouble> troubles;  ///< by path
    CodexUsageReader::SessionFolderCache folders;
    std::set<std::string> namedGaps;  ///< what the debug log has named

    /// Brings what is known in line with the store at `file`, which another process may have
    /// changed, and with what earlier versions left in `formerDirectory`. Empty paths mean that
    /// nothing is kept. Blocks.
    struct Opening {
        std::filesystem::path file;
        std::filesystem::path formerDirectory;
        std::filesystem::path codexHome;
        bool maySpill = true;  ///< whether the store may be written before save()
    };
    void open(const Opening& opening);

    /// The store's file, put aside, from which not all could be taken, or the one that cannot be
    /// read; empty without one.
    std::string lostFile();

    /// The entry of a log; null where its bytes are damaged or gone. Any thread.
    EntryPointer entry(const KnownSession& session);

    /// Takes in what was read of a log: its id, and its head. Parts that memory has no room for
    /// go to the store. Any thread.
    KnownSession takeIn(const std::string& path, SessionEntryForms forms);

    /// What a log adds, made from what that number stands for. Any thread for a log of its own.
    void keepShare(KnownSession& session, std::uint64_t sources, const SessionShare& share);
    /// Has the share made again.
    void dropShare(KnownSession& session);
    /// Has a log read again whose events cannot be had. What is gone cannot be: where its events
    /// are lost it is kept as a log that tells of nothing, which is a gap.
    void giveUp(KnownSession& session, bool isGone);

    /// Loads all shares that the store has, where many are asked for.
    void loadShares();
    void dropLoadedShares() { loadedShares_ = {}; }
    /// Nothing where none is kept or its bytes are damaged.
    std::optional<SessionShare> share(std::int64_t id);

    using Place = std::unordered_map<std::string, KnownSession>::iterator;

    /// A log that is there. What was known of the path is forgotten.
    void setLive(KnownSession session);
    /// Forgets a log that is there no more; the one behind it.
    Place eraseLive(Place place);
    /// Makes a log one that is gone; the one behind it.
    Place retire(Place place);

    /// Keeps what a log said that no longer does, once, however often it comes and goes.
    void keepGone(KnownSession session);
    /// The same log under an id of its own; nothing where its bytes are damaged.
    std::optional<KnownSession> copyOf(const KnownSession& session);
    /// Forgets what is kept of a segment as far as a log says it again.
    void forgetReturned(const std::string& segment, const KnownSession& session);
    /// Forgets what is gone; save() makes it last. How many logs there were.
    std::size_t forgetGone();

    /// Whether `whole` tells all that `part` holds. Remembered for as long as neither changes.
    bool isCovered(const KnownSession& part, const KnownSession& whole);
    /// Whether isCovered() could not be told for the log's own bytes.
    bool isDamaged(const KnownSession& session) const { return damaged_.contains(session.id); }

    /// Values of a home as they were last saved, without what is kept of its logs: for who needs
    /// some figures before all of it can be loaded. One thread.
    class Saved {
      public:
        Saved(const std::filesystem::path& file, const std::filesystem::path& codexHome);
        std::optional<std::string> homeValue(const std::string& name);

      private:
        SessionStore store_;
        std::string home_;
    };

    /// A single value of the home that is kept beside the logs.
    std::optional<std::string> homeValue(const std::string& name) { return value(homeKey(name)); }
    void setHomeValue(const std::string& name, std::string bytes) {
        setValue(homeKey(name), std::move(bytes));
    }

    void noteTroubleChange() { haveTroublesChanged_ = true; }

    enum class Saving {
        done,      ///< or nothing to do
        outdated,  ///< another process was faster: open() and read again
        unsaved    ///< the store cannot be written now; memory keeps it
    };
    Saving save();

    const std::string& home() const { return home_; }

  private:
    struct Parts {
        std::optional<std::string> events;
        std::optional<std::string> share;
    };
    /// A log of another home.
    struct Stranger {
        std::string home;
        KnownSession session;
        bool isGone = false;
    };

    std::optional<std::string> value(const std::string& name);
    void setValue(const std::string& name, std::string bytes);
    /// By the path of a Codex home, what tells that folder from every other after it was
    /// renamed.
    std::map<std::string, std::string> knownHomes();
    bool load();
    void forgetHome();
    void adopt(const SessionTakeover& takeover);
    void adoptHome(const std::filesystem::path& codexHome);
    void moveAway(const std::string& to);
    void moveHere(const std::string& from);
    void eraseParts(std::int64_t id);
    bool isOutOfReach(const KnownSession& session);
    std::optional<std::string> bytesOf(std::int64_t id, SessionPart kind);
    bool begin();
    void spill();
    void loseSpilled();
    bool hasUnsaved() const;
    void noteChangedLists();
    void writeAll();
    void noteSaved();
    static std::string keyOf(const std::string& home, const std::string& name) {
        return name + "\n" + home;
    }
    std::string homeKey(const std::string& name) const { return keyOf(home_, name); }

    std::string home_;
    std::filesystem::path file_;
    std::unique_ptr<SessionStore> store_;
    std::mutex mutex_;  ///< of the store, the parts and the next id
    std::unordered_map<std::int64_t, Parts> unsaved_;
    std::size_t unsavedBytes_ = 0;
    std::set<std::int64_t> erased_;  ///< ids that the store may still have
    std::map<std::string, std::string> unsavedValues_;
    std::vector<Stranger> strangers_;
    std::map<std::pair<std::uint64_t, std::uint64_t>, bool> coverage_;
    std::set<std::int64_t> damaged_;
    std::unordered_map<std::int64_t, std::string> loadedShares_;
    std::vector<std::filesystem::path> formerFiles_;  ///< of no use once all is saved
    std::int64_t nextId_ = 1;
    std::int64_t firstUnstoredId_ = 1;  ///< the store has none from here on, but what was spilled
    bool isLoaded_ = false;
    bool isWriting_ = false;
    bool hasSpilled_ = false;
    bool isSpillLost_ = false;  ///< memory keeps all until a save succeeds
    bool isOutdated_ = false;
    bool maySpill_ = true;
    bool haveTroublesChanged_ = false;
    bool hasCoverageChanged_ = false;
};

}  // namespace vantry
