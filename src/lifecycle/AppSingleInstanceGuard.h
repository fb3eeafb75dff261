#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "lifecycle/ApplicationStart.h"
#include "platform/FileDescriptor.h"

namespace vantry {

/// The lock of the one application process of a user, held for as long as this lives. The kernel
/// lets go of it when the process dies, so that nothing is left to clean up.
class AppSingleInstanceGuard {
  public:
    /// What the system refused.
    struct Failure {
        std::string operation;  ///< "open", "flock"
        int code = 0;           ///< errno

        std::string description() const;
    };
    using Guard = std::unique_ptr<AppSingleInstanceGuard>;
    using Outcome = std::variant<Guard, ApplicationPlatform::LockHeldByAnother, Failure>;

    /// The file "instance.lock" in the directory, which is made, for its user alone. Without a
    /// directory that of defaultLockDirectory(). Does not block.
    static Outcome acquire(const std::string& bundleIdentifier,
                           const std::optional<std::filesystem::path>& lockDirectory = {});

    /// "ProcessLock" in the identifier's folder below the user's data directory.
    static std::filesystem::path defaultLockDirectory(const std::string& bundleIdentifier);

    /// Where the lock is; the socket for activation lies beside it.
    const std::filesystem::path& directory() const { return directory_; }

  private:
    AppSingleInstanceGuard(FileDescriptor fileDescriptor, std::filesystem::path directory);

    FileDescriptor fileDescriptor_;
    std::filesystem::path directory_;
};

}  // namespace vantry
