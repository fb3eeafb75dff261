#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>

#include "runtime/CodexRuntimeProvider.h"
#include "runtime/MultiRuntimeUsageReader.h"

namespace fs = std::filesystem;
using namespace vantry;

namespace {

constexpr int readCount = 200;
constexpr int warmReadCount = 20;

std::ptrdiff_t entriesIn(const fs::path& directory) {
    return std::distance(fs::directory_iterator(directory), fs::directory_iterator());
}

long residentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        long value = 0;
        if (word == "VmRSS:" && status >> value) return value;
    }
    return 0;
}

/// Children that nobody has waited for, dead or alive.
int childrenLeft() {
    int count = 0;
    while (::waitpid(-1, nullptr, WNOHANG) >= 0) ++count;
    return count;
}

MultiRuntimeUsageReader readerOfTheFakeCodex() {
    auto sources = CodexUsageReader::ReadSources::real(std::make_shared<ReaderCaches>());
    sources.appServer = [](CodexUsageReader::AppServerRequest request) {
        request.executablePath = VANTRY_BENCH_CODEX;
        return CodexUsageReader::readAppServer(request);
    };
    return MultiRuntimeUsageReader(
        RuntimeProviderRegistry({std::make_shared<CodexRuntimeProvider>(sources)}));
}

}  // namespace

/// Reads everything again and again in one process, with a home of its own, and tells what is left
/// behind. Ends with 1 if a read failed or left a child, a descriptor or a temporary file.
int main() {
    std::string root = (fs::temp_directory_path() / "vantry-bench-reads-XXXXXX").string();
    if (::mkdtemp(root.data()) == nullptr) return 1;
    const fs::path temporary = fs::path(root) / "tmp";
    fs::create_directory(temporary);
    ::setenv("VANTRY_HOME_OVERRIDE", root.c_str(), 1);
    ::setenv("VANTRY_CACHE_OVERRIDE", (root + "/cache").c_str(), 1);
    ::setenv("HOME", root.c_str(), 1);
    ::setenv("TMPDIR", temporary.c_str(), 1);

    const MultiRuntimeUsageReader reader = readerOfTheFakeCodex();
    const auto descriptorsBefore = entriesIn("/proc/self/fd");
    long warmMemory = 0;
    int failed = 0;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 1; i <= readCount && failed == 0; ++i) {
        const MultiRuntimeUsageSnapshot read =
            reader.load(StatisticsTimeZonePreference::defaultValue(), {});
        if (!read.aggregate.primary || !read.aggregate.accountIdentity) ++failed;
        if (i == warmReadCount) warmMemory = residentKilobytes();
    }
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
    const long memory = residentKilobytes();
    const auto descriptors = entriesIn("/proc/self/fd");
    const auto files = entriesIn(temporary);
    const int children = childrenLeft();
    fs::remove_all(root);

    std::printf("%d full reads in one process: %.2f ms each, %d failed\n", readCount,
                time.count() / readCount, failed);
    std::printf("  children left behind   %d\n", children);
    std::printf("  open descriptors       %td before, %td after\n", descriptorsBefore, descriptors);
    std::printf("  temporary files        %td\n", files);
    std::printf("  resident memory        %ld KiB after %d reads, %ld KiB after %d\n", warmMemory,
                warmReadCount, memory, readCount);
    const bool clean =
        failed == 0 && children == 0 && descriptors == descriptorsBefore && files == 0;
    return clean ? 0 : 1;
}
