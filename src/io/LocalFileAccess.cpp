#include "io/LocalFileAccess.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace vantry {

namespace {

std::string_view withoutTrailingSlashes(std::string_view root) {
    while (root.size() > 1 && root.ends_with('/')) root.remove_suffix(1);
    return root;
}

/// An empty root, such as an unknown home, holds nothing.
bool covers(std::string_view root, std::string_view path) {
    if (root.empty() || !path.starts_with(root)) return false;
    return root == "/" || path.size() == root.size() || path[root.size()] == '/';
}

bool existsAndIsNoLink(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && !S_ISLNK(status.st_mode);
}

/// `rest` is what follows the root in the path.
bool everyComponentIsPlain(std::string_view root, std::string_view rest) {
    std::string prefix(root == "/" ? "" : root);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('/'), rest.size());
        const std::string_view component = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (component.empty()) continue;
        if (component == "..") return false;
        prefix.append("/").append(component);
        if (!existsAndIsNoLink(prefix)) return false;
    }
    return true;
}

}  // namespace

bool localFileAccessIsAllowed(const std::filesystem::path& path,
                              const std::vector<LocalFileRoot>& roots) {
    const std::string_view text = path.native();
    if (!path.is_absolute() || text.find('\0') != std::string_view::npos) return false;
    for (const LocalFileRoot& candidate : roots) {
        const std::string_view root = withoutTrailingSlashes(candidate.path.native());
        if (!covers(root, text)) continue;
        if (candidate.checksRootForSymlink && !existsAndIsNoLink(std::string(root))) return false;
        return everyComponentIsPlain(root, text.substr(root.size()));
    }
    return false;
}

}  // namespace vantry
