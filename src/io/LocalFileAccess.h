#pragma once

#include <filesystem>
#include <vector>

namespace vantry {

/// A directory below which files may be touched.
struct LocalFileRoot {
    std::filesystem::path path;
    bool checksRootForSymlink = false;  ///< whether the root too must not be a symbolic link
};

/// Whether `path` is one of `roots` or lies below one, and no component below the root, the last
/// one included, is missing, a symbolic link or "..". A relative path never is. The first root that
/// fits decides. Looks at the file system once per component, and answers for that moment only.
bool localFileAccessIsAllowed(const std::filesystem::path& path,
                              const std::vector<LocalFileRoot>& roots);

}  // namespace vantry
