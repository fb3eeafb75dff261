#include "entry/WatchScreen.h"

#include <cerrno>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace vantry {

namespace {

bool writeAll(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

WatchScreen::WatchScreen() : isTerminal_(::isatty(STDOUT_FILENO) == 1) {}

std::size_t WatchScreen::columns() const {
    winsize size{};
    if (!isTerminal_ || ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
    return size.ws_col;
}

bool WatchScreen::show(const std::vector<std::string>& lines) {
    if (lines == shown_) return true;
    std::string text;
    if (isTerminal_ && !shown_.empty()) {
        // Back to the first line that is shown; everything from there is wiped.
        if (shown_.size() > 1) text = "\x1B[" + std::to_string(shown_.size() - 1) + 'A';
        text += "\r\x1B[J";
    }
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (isTerminal_ && i > 0) text += '\n';
        text += lines[i];
        if (!isTerminal_) text += '\n';
    }
    shown_ = lines;
    return writeAll(text);
}

void WatchScreen::close() {
    if (isTerminal_ && !shown_.empty()) writeAll("\n");
    shown_.clear();
}

}  // namespace vantry
