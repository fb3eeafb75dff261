#pragma once

#include <string>
#include <vector>

namespace vantry {

/// Standard output as the watch uses it: lines written over in place on a terminal, one behind the
/// other anywhere else. One thread.
class WatchScreen {
  public:
    WatchScreen();

    bool isTerminal() const { return isTerminal_; }

    /// The columns that a line may take; 0 for any number.
    std::size_t columns() const;

    /// Shows the lines unless they are shown already. False once nobody reads any more.
    bool show(const std::vector<std::string>& lines);

    /// Puts a line above what is shown, to stay there. False once nobody reads any more.
    bool announce(const std::string& line);

    /// Leaves the last lines where they are and begins a new one.
    void close();

  private:
    std::string wipe() const;
    static bool isRead();

    bool isTerminal_;
    std::vector<std::string> shown_;
};

}  // namespace vantry
