#pragma once

#include <string>
#include <unistd.h>
#include <vector>

namespace vantry {

/// What the watch shows its lines on: written over in place on a terminal, one behind the other
/// anywhere else. It never waits for its reader: what cannot be taken now is kept. One thread.
class WatchScreen {
  public:
    /// `output` stays the caller's.
    explicit WatchScreen(int output = STDOUT_FILENO);

    bool isTerminal() const { return isTerminal_; }

    /// The columns that a line may take; 0 for any number.
    std::size_t columns() const;

    /// Shows what was announced and could not be written, and then the lines unless they are shown
    /// already. False once nobody reads any more.
    bool show(const std::vector<std::string>& lines);

    /// Puts a line above what is shown, to stay there. False once nobody reads any more.
    bool announce(const std::string& line);

    /// Whether something has not been written yet: show() is to be called again soon.
    bool isBehind() const { return isBehind_; }

    /// Leaves the last lines where they are and begins a new one.
    void close();

  private:
    std::string wipe() const;
    bool isRead() const;
    bool put(const std::vector<std::string>& lines);

    int output_;
    bool isTerminal_;
    bool isBehind_ = false;
    std::string announced_;  ///< lines of which nothing is written yet
    std::string begun_;      ///< the rest of a text of which something is written
    std::vector<std::string> shown_;
};

}  // namespace vantry
