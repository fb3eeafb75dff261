#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace vantry {

/// Cuts a stream of bytes into lines, within a limit on their length and one on their number.
class LineSplitter {
  public:
    struct Limits {
        std::size_t lineBytes = 0;  ///< of a line without its newline, finished or not
        std::size_t lineCount = 0;
    };
    using Receive = std::function<void(std::string_view line)>;

    explicit LineSplitter(Limits limits) : limits_(limits) {}

    /// Hands each finished line to `receive`, without its newline. False as soon as a limit is
    /// passed; the splitter is not used after that.
    bool append(std::string_view bytes, const Receive& receive);

    /// Hands over what stands behind the last newline, if anything does and a line is left.
    void finish(const Receive& receive);

  private:
    Limits limits_;
    std::size_t lineCount_ = 0;
    std::string unfinished_;
};

}  // namespace vantry
