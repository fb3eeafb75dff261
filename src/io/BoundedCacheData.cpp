#include "io/BoundedCacheData.h"

#include <algorithm>
#include <sys/stat.h>

#include "io/RegularFileReader.h"

namespace vantry {

std::optional<std::string> boundedCacheData(const std::filesystem::path& path,
                                            std::int64_t maxByteCount) {
    if (maxByteCount < 0) return std::nullopt;
    const auto file = RegularFileReader::open({.path = path});
    if (!file) return std::nullopt;
    struct stat status {};
    if (::fstat(file->number(), &status) != 0 || status.st_size > maxByteCount) return std::nullopt;

    // One byte more than the file is said to have, so that its end shows in the first round.
    const auto limit = static_cast<std::size_t>(maxByteCount);
    std::string contents(static_cast<std::size_t>(status.st_size) + 1, '\0');
    std::size_t length = 0;
    for (;;) {
        const auto count =
            RegularFileReader::read(*file, {contents.data() + length, contents.size() - length});
        if (!count) return std::nullopt;
        if (*count == 0) break;
        length += *count;
        if (length > limit) return std::nullopt;
        if (length == contents.size()) contents.resize(std::min(length * 2, limit + 1));
    }
    contents.resize(length);
    return contents;
}

}  // namespace vantry
