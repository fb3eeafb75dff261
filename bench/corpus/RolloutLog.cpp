#include "corpus/RolloutLog.h"

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vantry::corpus {

namespace {

constexpr std::size_t bufferBytes = 1024 * 1024;

}  // namespace

RolloutLog::RolloutLog(const std::filesystem::path& path, LogFormat format,
                       std::int64_t firstOrdinal)
    : format_(format), ordinal_(firstOrdinal) {
    std::filesystem::create_directories(path.parent_path());
    file_ = FileDescriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file_.isOpen()) throw std::system_error(errno, std::generic_category(), path);
    buffer_.reserve(2 * bufferBytes);
}

void RolloutLog::begin(std::string_view type, const std::string& timestamp) {
    if (buffer_.size() >= bufferBytes) flush();
    add(R"({"timestamp":")", timestamp, "\"");
    if (format_ == LogFormat::paginated) add(R"(,"ordinal":)", ordinal_++);
    add(R"(,"type":")", type, R"(","payload":{)");
}

void RolloutLog::endLine(std::string_view closing) {
    add(closing, "\n");
}

void RolloutLog::addLine(std::string_view object) {
    if (format_ == LogFormat::paginated) {
        add(R"({"ordinal":)", ordinal_++, ",");
        object.remove_prefix(1);
    }
    endLine(object);
}

void RolloutLog::addHole(std::int64_t bytes) {
    flush();
    if (::lseek(file_.number(), bytes, SEEK_CUR) < 0) {
        throw std::system_error(errno, std::generic_category(), "rollout log");
    }
    flushed_ += bytes;
}

void RolloutLog::append(std::string_view text) {
    buffer_.append(text);
}

void RolloutLog::flush() {
    std::string_view rest = buffer_;
    while (!rest.empty()) {
        const ssize_t written = ::write(file_.number(), rest.data(), rest.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) throw std::system_error(errno, std::generic_category(), "rollout log");
        rest.remove_prefix(static_cast<std::size_t>(written));
    }
    flushed_ += static_cast<std::int64_t>(buffer_.size());
    buffer_.clear();
}

void RolloutLog::close(Millis modifiedAt) {
    flush();
    const timespec time{.tv_sec = modifiedAt / second, .tv_nsec = modifiedAt % second * 1'000'000};
    const timespec times[] = {time, time};
    ::futimens(file_.number(), times);
    file_.close();
}

}  // namespace vantry::corpus
