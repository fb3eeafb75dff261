#include "official/SignIn.h"

#include <sys/stat.h>
#include <system_error>

#include "io/BoundedCacheData.h"
#include "platform/AtomicFile.h"
#include "platform/RecordFields.h"

namespace vantry::SignIn {

/// The file's contents: whose sign-in it is.
struct Record {
    static constexpr std::int64_t currentVersion = 1;

    std::int64_t version = currentVersion;
    std::string accountIdentity;
    FileMark mark;

    friend bool operator==(const Record&, const Record&) = default;
};

}  // namespace vantry::SignIn

namespace vantry {

template <>
struct RecordFields<SignIn::FileMark> {
    using Mark = SignIn::FileMark;
    static constexpr std::tuple list{
        field("device", &Mark::device), field("inode", &Mark::inode), field("size", &Mark::size),
        field("modificationTimeNanoseconds", &Mark::modificationTimeNanoseconds)};
};

template <>
struct RecordFields<SignIn::Record> {
    static constexpr std::tuple list{field("version", &SignIn::Record::version),
                                     field("accountIdentity", &SignIn::Record::accountIdentity),
                                     field("mark", &SignIn::Record::mark)};
};

}  // namespace vantry

namespace vantry::SignIn {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t byteLimit = 4'096;

std::optional<Record> recordIn(const fs::path& file) {
    const auto bytes = boundedCacheData(file, byteLimit);
    const auto document = bytes ? JsonDocument::parse(*bytes) : std::nullopt;
    Record record;
    if (!document || !decode(document->root(), record) ||
        record.version != Record::currentVersion || record.accountIdentity.empty()) {
        return std::nullopt;
    }
    return record;
}

void write(const Record& record, const fs::path& file) {
    const auto document = writeJson(encode(record, RecordForm::stored), JsonLayout::compact);
    if (!document) return;
    std::error_code ignored;
    fs::create_directories(file.parent_path(), ignored);
    ignored = replaceFileAtomically(file, *document);
}

}  // namespace

std::optional<FileMark> markOf(const fs::path& codexHome) {
    struct stat status {};
    if (::stat((codexHome / "auth.json").c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    return FileMark{.device = static_cast<std::int64_t>(status.st_dev),
                    .inode = static_cast<std::int64_t>(status.st_ino),
                    .size = status.st_size,
                    .modificationTimeNanoseconds =
                        status.st_mtim.tv_sec * 1'000'000'000 + status.st_mtim.tv_nsec};
}

void settleIdentity(const Session& session) {
    if (session.cacheDirectory.empty() || !session.before || session.before != session.after) {
        return;
    }
    const fs::path file = session.cacheDirectory / "sign-in-v1.json";
    const auto known = recordIn(file);
    auto& identity = session.snapshot.accountIdentity;
    if (identity && !identity->empty()) {
        const Record record{.accountIdentity = *identity, .mark = *session.before};
        if (known != record) write(record, file);
    } else if (known && known->mark == *session.before && !session.snapshot.metTwoAccounts) {
        identity = known->accountIdentity;
    }
}

}  // namespace vantry::SignIn
