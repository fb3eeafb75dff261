#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

/// What hangs on a log, each kind in a table of its own so that one is read without the others.
enum class SessionPart : std::uint8_t { events, share };

/// What is known of a log. `home`, `path` and `head` are any bytes.
struct StoredSession {
    std::int64_t id = 0;
    std::string home;
    std::string path;
    bool isGone = false;  ///< of a home, one row at most that is not gone has a path
    std::string head;

    friend bool operator==(const StoredSession&, const StoredSession&) = default;
};

/// The database in which it is kept what the logs said. It knows rows and checksums, and not what
/// the bytes mean.
///
/// Opened at the first call and made where it is absent. What keeps it from being read, such as a
/// lock, a full disk or a folder that cannot be written, leaves the file as it is and is tried
/// again by hasChanged() and sessions(). A malformed file is put aside as "FILE.damaged" and what
/// can be read of it is taken over; the value `lostValue` tells that something may be missing.
///
/// Calls wait for other processes, two seconds each at most, and block for the disk. One thread at
/// a time; never throws.
class SessionStore {
  public:
    /// Set to the path of the file put aside unless all of it could be read.
    static constexpr std::string_view lostValue = "lost";

    /// With an empty path nothing is kept: the store is `unavailable`.
    explicit SessionStore(std::filesystem::path file);
    SessionStore(SessionStore&&) noexcept;
    SessionStore& operator=(SessionStore&&) noexcept;
    ~SessionStore();  ///< what was not committed is dropped

    enum class Access : std::uint8_t {
        writable,
        readOnly,
        newer,  ///< of a later version of this program: left alone, nothing is read or written
        unavailable,  ///< or another program's
    };
    Access access();

    /// Whether somebody else has committed since sessions() was last called, or it never was, or
    /// the file was replaced. A store that cannot be read has changed.
    bool hasChanged();

    /// The rows of a home by rising id, and the state of the file that beginWriting() asks for. A
    /// row with a wrong checksum is left out and is erased by the next write, which sets
    /// `lostValue` where it was of a log that is gone. Nothing: they cannot be read.
    std::optional<std::vector<StoredSession>> sessions(const std::string& home);

    /// The rows of one more home, whatever state the file is in by now.
    std::optional<std::vector<StoredSession>> moreSessions(const std::string& home);

    /// Above every id that was ever used; a caller counts on from it. 0 where nothing can be read.
    std::int64_t nextId();

    /// Nothing: absent, or not what was put.
    std::optional<std::string> part(std::int64_t id, SessionPart kind);

    /// Whether what is there cannot be told now, and may be later: of a damaged part it can.
    bool isOutOfReach(std::int64_t id, SessionPart kind);

    /// By rising id; those with a wrong checksum are left out. False where not all could be read,
    /// though some may have been visited. The visit must not write, nor visit parts itself.
    using PartVisit = std::function<void(std::int64_t id, std::string_view bytes)>;
    bool forEachPart(const std::string& home, SessionPart kind, const PartVisit& visit);

    std::optional<std::string> value(std::string_view key);

    enum class WriteStart : std::uint8_t {
        ready,
        outdated,  ///< somebody else has committed since sessions() was called, or it never was
        busy,      ///< another process writes
        unavailable,
    };
    /// Begins a transaction where it says `ready`, and nothing else. Reads then see what was put.
    WriteStart beginWriting();

    /// Whether a transaction is open in which nothing has failed.
    bool isWriting() const;

    /// A row that is there is replaced, its parts stay. A path that another row holds that is not
    /// gone fails the transaction.
    void put(const StoredSession& session);
    void putPart(std::int64_t id, SessionPart kind, std::string_view bytes);
    void erase(std::int64_t id);  ///< with its parts
    void setValue(std::string_view key, std::string_view bytes);
    void eraseValue(std::string_view key);

    /// Ends the transaction. False: nothing of it was written, whatever failed in it; the debug log
    /// has the reason.
    bool commit();
    void rollBack();

    /// Brings what was committed into the file itself and waits for the disk. False where it may
    /// not survive a power cut yet.
    bool settle();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace vantry
