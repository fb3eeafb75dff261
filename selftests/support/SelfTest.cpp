#include "selftests/support/SelfTest.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace vantry {

bool SelfTest::run(std::string_view subject,
                   std::initializer_list<void (*)(SelfTest& test)> checks) {
    SelfTest test(subject);
    for (const auto& check : checks) check(test);
    return test.finish();
}

bool SelfTest::expect(bool held, std::string_view what) {
    if (!held) {
        passed_ = false;
        std::cout << subject_ << " self-test failed: " << what << std::endl;
    }
    return held;
}

bool SelfTest::finish() {
    if (passed_) std::cout << subject_ << " self-test passed" << std::endl;
    return passed_;
}

std::string wholeFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TemporaryDirectory::TemporaryDirectory(std::string_view prefix) {
    std::string name =
        (std::filesystem::temp_directory_path() / (std::string(prefix) + "XXXXXX")).string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    path_ = name;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TemporaryDirectory::write(const std::filesystem::path& name,
                                                std::string_view contents) const {
    std::filesystem::path path = path_ / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << contents;
    return path;
}

std::filesystem::path TemporaryDirectory::writeProgram(const std::filesystem::path& name,
                                                       std::string_view script) const {
    std::filesystem::path path = write(name, script);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

}  // namespace vantry
