#include "official/LineSplitter.h"

namespace vantry {

bool LineSplitter::append(std::string_view bytes, const Receive& receive) {
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        if (unfinished_.size() + piece.size() > limits_.lineBytes) return false;
        if (end == std::string_view::npos) {
            unfinished_ += piece;
            return true;
        }
        if (lineCount_ == limits_.lineCount) return false;
        ++lineCount_;
        if (unfinished_.empty()) {
            receive(piece);
        } else {
            unfinished_ += piece;
            receive(unfinished_);
            unfinished_.clear();
        }
        bytes.remove_prefix(end + 1);
    }
    return true;
}

void LineSplitter::finish(const Receive& receive) {
    if (unfinished_.empty() || lineCount_ == limits_.lineCount) return;
    receive(unfinished_);
    unfinished_.clear();
}

}  // namespace vantry
