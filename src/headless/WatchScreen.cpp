#include "headless/WatchScreen.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <sys/ioctl.h>
#include <utility>

#include "platform/TextWidth.h"

namespace vantry {

namespace {

// Takes off the text what could be written. False once nobody reads any more. A reader that has
// stopped, or a terminal that was told to hold, must not hold the program.
bool writeNow(int output, std::string& text) {
    pollfd ready{.fd = output, .events = POLLOUT, .revents = 0};
    while (!text.empty()) {
        const int count = ::poll(&ready, 1, 0);
        if (count < 0 && errno == EINTR) continue;
        if (count == 0) return true;
        // A pipe that is ready takes this much without blocking.
        const ssize_t written =
            ::write(output, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (written < 0 && errno == EINTR) continue;
        if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return true;
        if (written <= 0) return false;
        text.erase(0, static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace

WatchScreen::WatchScreen(int output) : output_(output), isTerminal_(::isatty(output) == 1) {}

std::size_t WatchScreen::columns() const {
    winsize size{};
    if (!isTerminal_ || ::ioctl(output_, TIOCGWINSZ, &size) != 0) return 0;
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

bool WatchScreen::isRead() const {
    pollfd output{.fd = output_, .events = 0, .revents = 0};
    return ::poll(&output, 1, 0) <= 0;
}

bool WatchScreen::announce(const std::string& line) {
    announced_ += line + '\n';
    // Behind each other, the lines before are still to be read.
    return put(shown_);
}

bool WatchScreen::show(const std::vector<std::string>& lines) {
    if (!isRead()) return false;
    return put(lines);
}

bool WatchScreen::put(const std::vector<std::string>& lines) {
    if (!writeNow(output_, begun_)) return false;
    isBehind_ = !begun_.empty();
    if (isBehind_ || (announced_.empty() && lines == shown_)) return true;

    std::string text = wipe();
    text += announced_;
    for (std::size_t i = 0; i < lines.size() && (isTerminal_ || lines != shown_); ++i) {
        if (isTerminal_ && i > 0) text += '\n';
        text += lines[i];
        if (!isTerminal_) text += '\n';
    }
    const std::size_t size = text.size();
    begun_ = std::move(text);
    const bool goesOn = writeNow(output_, begun_);
    isBehind_ = !begun_.empty();
    if (begun_.size() == size) {
        begun_.clear();  // by then it may be something else that has to be shown
    } else {
        announced_.clear();
        shown_ = lines;
    }
    return goesOn;
}

void WatchScreen::close() {
    if (isTerminal_ && !shown_.empty()) begun_ += '\n';
    writeNow(output_, begun_);
    shown_.clear();
}

}  // namespace vantry
