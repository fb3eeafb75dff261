#pragma once

#include <unistd.h>
#include <utility>

namespace vantry {

/// Owns one open descriptor and closes it at the end of its life. Movable, not copyable.
class FileDescriptor {
  public:
    FileDescriptor() = default;
    explicit FileDescriptor(int owned) : number_(owned) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other) {
            close();
            number_ = std::exchange(other.number_, -1);
        }
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { close(); }

    bool isOpen() const { return number_ >= 0; }

    /// The number, for a system call made while this object lives; -1 when closed.
    int number() const { return number_; }

    /// Closes now. An error of the close is dropped; a second call does nothing.
    void close() {
        if (number_ >= 0) ::close(std::exchange(number_, -1));
    }

  private:
    int number_ = -1;
};

}  // namespace vantry
