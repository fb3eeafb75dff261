#pragma once

// With what nearly every suite needs.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace vantry {

/// One suite: expectations are collected, and the outcome is printed on standard output as
/// "SUBJECT self-test passed" or as one "SUBJECT self-test failed: ..." line per expectation.
class SelfTest {
  public:
    explicit SelfTest(std::string_view subject) : subject_(subject) {}

    /// A whole suite: every check in its order, then the outcome.
    static bool run(std::string_view subject,
                    std::initializer_list<void (*)(SelfTest& test)> checks);

    /// Records `what` as failed unless `held`; prints it at once. Returns `held`.
    bool expect(bool held, std::string_view what);

    /// Prints the line of success if nothing failed. True when every expectation held.
    bool finish();

  private:
    std::string subject_;
    bool passed_ = true;
};

/// All that the file holds; nothing of one that cannot be read.
std::string wholeFile(const std::filesystem::path& file);

/// A directory of its own for one suite, with a name that begins with `prefix`; removed with all
/// it holds at the end of the object's life.
class TemporaryDirectory {
  public:
    explicit TemporaryDirectory(std::string_view prefix);
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::filesystem::path& path() const { return path_; }

    /// Writes `contents` to `name` below the directory, with parents; gives the path.
    std::filesystem::path write(const std::filesystem::path& name, std::string_view contents) const;

    /// The same, as a program that can be executed.
    std::filesystem::path writeProgram(const std::filesystem::path& name,
                                       std::string_view script) const;

  private:
    std::filesystem::path path_;
};

}  // namespace vantry
