#include "platform/HandCrankedMainLoop.h"

#include <algorithm>
#include <poll.h>
#include <utility>

namespace vantry {

struct HandCrankedMainLoop::Entry {
    double due = 0;            // of the monotonic clock
    std::optional<Date> date;  // of the wall clock, in its place
    std::optional<double> interval;
    std::function<void()> handler;
    bool isOver = false;
};

struct HandCrankedMainLoop::EntryTimer : Timer {
    std::shared_ptr<Entry> entry;
};

struct HandCrankedMainLoop::Readable {
    int descriptor = -1;
    std::function<void()> handler;
};

struct HandCrankedMainLoop::ReadableWatch : Watch {
    std::shared_ptr<Readable> readable;
};

void HandCrankedMainLoop::post(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(work));
}

MainLoop::TimerHandle HandCrankedMainLoop::after(double seconds, std::function<void()> handler) {
    return add({.due = monotonic_ + seconds, .handler = std::move(handler)});
}

MainLoop::TimerHandle HandCrankedMainLoop::every(double seconds, std::function<void()> handler) {
    const double interval = seconds < 0.001 ? 0.001 : seconds;
    return add({.due = monotonic_ + interval, .interval = interval, .handler = std::move(handler)});
}

MainLoop::TimerHandle HandCrankedMainLoop::at(Date date, std::function<void()> handler) {
    return add({.date = date, .handler = std::move(handler)});
}

MainLoop::TimerHandle HandCrankedMainLoop::add(Entry entry) {
    auto handle = std::make_unique<EntryTimer>();
    handle->entry = std::make_shared<Entry>(std::move(entry));
    entries_.push_back(handle->entry);
    return handle;
}

MainLoop::WatchHandle HandCrankedMainLoop::watchReadable(int descriptor,
                                                         std::function<void()> handler) {
    auto handle = std::make_unique<ReadableWatch>();
    handle->readable = std::make_shared<Readable>(Readable{descriptor, std::move(handler)});
    readables_.push_back(handle->readable);
    return handle;
}

void HandCrankedMainLoop::advance(double seconds) {
    const double end = monotonic_ + std::max(seconds, 0.0);
    runPosted();
    while (const std::shared_ptr<Entry> entry = nextUntil(end)) {
        run(entry);
        runPosted();
    }
    moveTo(end);
}

void HandCrankedMainLoop::runPosted() {
    std::erase_if(readables_, [](const auto& readable) { return readable.expired(); });
    const auto readables = readables_;
    for (const std::weak_ptr<Readable>& watched : readables) {
        const auto readable = watched.lock();
        pollfd polled{.fd = readable ? readable->descriptor : -1, .events = POLLIN, .revents = 0};
        if (readable && ::poll(&polled, 1, 0) > 0 && (polled.revents & POLLNVAL) == 0) {
            readable->handler();
        }
    }
    std::unique_lock lock(mutex_);
    while (!posted_.empty()) {
        auto work = std::move(posted_.front());
        posted_.pop_front();
        lock.unlock();
        work();
        work = nullptr;  // what it holds may post at its end
        lock.lock();
    }
}

void HandCrankedMainLoop::setWallClock(Date date) {
    anchor_ = {.monotonic = monotonic_, .wallClock = date};
    wallClock_ = date;
}

double HandCrankedMainLoop::dueTime(const Entry& entry) const {
    return entry.date ? anchor_.monotonic + (*entry.date - anchor_.wallClock) : entry.due;
}

std::shared_ptr<HandCrankedMainLoop::Entry> HandCrankedMainLoop::nextUntil(double end) {
    std::erase_if(entries_, [](const std::weak_ptr<Entry>& entry) { return entry.expired(); });
    std::shared_ptr<Entry> next;
    double nextDue = 0;
    for (const std::weak_ptr<Entry>& known : entries_) {
        const std::shared_ptr<Entry> entry = known.lock();
        const double time = dueTime(*entry);
        if (entry->isOver || !(time <= end)) continue;
        // What is overdue is due now, and not before what was made earlier.
        const double due = std::max(time, monotonic_);
        if (next && nextDue <= due) continue;
        next = entry;
        nextDue = due;
    }
    return next;
}

void HandCrankedMainLoop::moveTo(double monotonic) {
    monotonic_ = std::max(monotonic_, monotonic);
    wallClock_ = anchor_.wallClock + (monotonic_ - anchor_.monotonic);
}

void HandCrankedMainLoop::run(const std::shared_ptr<Entry>& entry) {
    moveTo(dueTime(*entry));
    // The sum may have been rounded to just before the date.
    if (entry->date && now() < *entry->date) setWallClock(*entry->date);
    if (entry->interval) {
        entry->due += *entry->interval;
    } else {
        entry->isOver = true;
    }
    entry->handler();
}

}  // namespace vantry
