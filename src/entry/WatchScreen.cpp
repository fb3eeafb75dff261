#include "entry/WatchScreen.h"

#include <cerrno>
#include <climits>
#include <poll.h>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

#include "platform/TextWidth.h"

namespace vantry {

namespace {

enum class Writing { done, wouldBlock, failed };

// A reader that has stopped, or a terminal that was told to hold, must not hold the program: what
// does not fit now is shown another time.
Writing writeNow(std::string_view text) {
    pollfd output{.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
    while (!text.empty()) {
        const int ready = ::poll(&output, 1, 0);
        if (ready < 0 && errno == EINTR) continue;
        if (ready == 0) return Writing::wouldBlock;
        // A pipe that is ready takes this much without blocking.
        const std::string_view piece = text.substr(0, PIPE_BUF);
        const ssize_t written = ::write(STDOUT_FILENO, piece.data(), piece.size());
        if (written < 0 && errno == EINTR) continue;
        if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return Writing::wouldBlock;
        if (written <= 0) return Writing::failed;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return Writing::done;
}

}  // namespace

WatchScreen::WatchScreen() : isTerminal_(::isatty(STDOUT_FILENO) == 1) {}

std::size_t WatchScreen::columns() const {
    winsize size{};
    if (!isTerminal_ || ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
    return size.ws_col;
}

// Back to the first line that is shown; everything from there is wiped. A terminal that has become
// narrower since lets what was one row go on in the next.
std::string WatchScreen::wipe() const {
    std::string text;
    if (!isTerminal_ || shown_.empty()) return text;
    const std::size_t width = columns();
    std::size_t rows = 0;
    for (const std::string& line : shown_) rows += width > 0 ? wrappedRows(line, width) : 1;
    if (rows > 1) text = "\x1B[" + std::to_string(rows - 1) + 'A';
    return text += "\r\x1B[J";
}

bool WatchScreen::announce(const std::string& line) {
    std::string text = wipe();
    text += line + '\n';
    if (writeNow(text) == Writing::failed) return false;
    // Behind each other, the lines before are still to be read.
    return !isTerminal_ || show(std::exchange(shown_, {}));
}

bool WatchScreen::isRead() {
    pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
    return ::poll(&output, 1, 0) <= 0;
}

bool WatchScreen::show(const std::vector<std::string>& lines) {
    if (!isRead()) return false;
    if (lines == shown_) return true;
    std::string text = wipe();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (isTerminal_ && i > 0) text += '\n';
        text += lines[i];
        if (!isTerminal_) text += '\n';
    }
    const Writing writing = writeNow(text);
    if (writing == Writing::done) shown_ = lines;
    return writing != Writing::failed;
}

void WatchScreen::close() {
    if (isTerminal_ && !shown_.empty()) writeNow("\n");
    shown_.clear();
}

}  // namespace vantry
