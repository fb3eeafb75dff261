#include "platform/PollMainLoop.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <system_error>
#include <utility>

namespace vantry {

namespace {

constexpr double longest = 9e9;  // seconds; the kernel counts nanoseconds in 64 bits
constexpr double shortestInterval = 0.001;

int checked(int result, const char* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

// Rounded up, so that a date has been reached when its handler asks the clock. A time of zero would
// disarm a timer: at once is a nanosecond.
timespec timeOf(double seconds) {
    const double time = std::clamp(seconds, 1e-9, longest);
    const double whole = std::floor(time);
    const auto nanoseconds = static_cast<long>(std::ceil((time - whole) * 1e9));
    timespec result{.tv_sec = static_cast<std::time_t>(whole), .tv_nsec = nanoseconds};
    if (nanoseconds >= 1'000'000'000) result = {.tv_sec = result.tv_sec + 1, .tv_nsec = 0};
    return result;
}

// Takes the count off an eventfd or a timer; false if there was none.
bool takeCount(const FileDescriptor& descriptor) {
    std::uint64_t count = 0;
    return ::read(descriptor.number(), &count, sizeof count) == sizeof count;
}

}  // namespace

// What is polled. Alive as long as its handle, and while its handler runs.
struct PollMainLoop::Source {
    int descriptor = -1;
    std::function<void()> handler;
    FileDescriptor timer;  // open for a timer
};

struct PollMainLoop::SourceTimer : Timer {
    std::shared_ptr<Source> source;
};

struct PollMainLoop::SourceWatch : Watch {
    std::shared_ptr<Source> source;
};

struct PollMainLoop::Schedule {
    clockid_t clock = CLOCK_BOOTTIME;
    double first = 0;
    double interval = 0;
    int flags = 0;
};

PollMainLoop::PollMainLoop()
    : wake_(checked(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}

PollMainLoop::~PollMainLoop() = default;

void PollMainLoop::run() {
    while (!stopRequested_.exchange(false)) turn();
}

void PollMainLoop::stop() {
    stopRequested_ = true;
    wake();
}

void PollMainLoop::post(std::function<void()> work) {
    {
        const std::lock_guard lock(mutex_);
        posted_.push_back(std::move(work));
    }
    wake();
}

void PollMainLoop::wake() {
    const std::uint64_t one = 1;
    // Fails only where the count is full, and then the loop is awake.
    [[maybe_unused]] const ssize_t written = ::write(wake_.number(), &one, sizeof one);
}

MainLoop::TimerHandle PollMainLoop::after(double seconds, std::function<void()> handler) {
    return timer({.first = seconds}, std::move(handler));
}

MainLoop::TimerHandle PollMainLoop::every(double seconds, std::function<void()> handler) {
    const double interval = seconds < shortestInterval ? shortestInterval : seconds;
    return timer({.first = interval, .interval = interval}, std::move(handler));
}

// An absolute timer on the wall clock expires by itself when somebody sets the clock past it.
MainLoop::TimerHandle PollMainLoop::at(Date date, std::function<void()> handler) {
    return timer(
        {.clock = CLOCK_REALTIME, .first = date.secondsSince1970(), .flags = TFD_TIMER_ABSTIME},
        std::move(handler));
}

MainLoop::TimerHandle PollMainLoop::timer(const Schedule& schedule, std::function<void()> handler) {
    auto source = std::make_shared<Source>();
    source->timer = FileDescriptor(
        checked(::timerfd_create(schedule.clock, TFD_CLOEXEC | TFD_NONBLOCK), "timerfd_create"));
    source->descriptor = source->timer.number();
    source->handler = std::move(handler);
    if (!std::isnan(schedule.first)) {
        itimerspec times{.it_value = timeOf(schedule.first)};
        if (schedule.interval > 0) times.it_interval = timeOf(schedule.interval);
        checked(::timerfd_settime(source->descriptor, schedule.flags, &times, nullptr),
                "timerfd_settime");
    }
    sources_.push_back(source);
    auto handle = std::make_unique<SourceTimer>();
    handle->source = std::move(source);
    return handle;
}

MainLoop::WatchHandle PollMainLoop::watchReadable(int descriptor, std::function<void()> handler) {
    auto handle = std::make_unique<SourceWatch>();
    handle->source = std::make_shared<Source>();
    handle->source->descriptor = descriptor;
    handle->source->handler = std::move(handler);
    sources_.push_back(handle->source);
    return handle;
}

Date PollMainLoop::now() const {
    return Date::now();
}

void PollMainLoop::turn() {
    std::vector<pollfd> polled{{.fd = wake_.number(), .events = POLLIN, .revents = 0}};
    std::erase_if(sources_, [](const std::weak_ptr<Source>& source) { return source.expired(); });
    // Handlers make new sources meanwhile.
    const std::vector<std::weak_ptr<Source>> sources = sources_;
    for (const std::weak_ptr<Source>& source : sources) {
        polled.push_back({.fd = source.lock()->descriptor, .events = POLLIN, .revents = 0});
    }
    bool mayWait = false;
    {
        const std::lock_guard lock(mutex_);
        mayWait = posted_.empty();
    }
    const int count = ::poll(polled.data(), polled.size(), mayWait ? -1 : 0);
    if (count < 0 && errno == EINTR) return;
    checked(count, "poll");
    if (polled.front().revents != 0) takeCount(wake_);
    runPosted();
    for (std::size_t i = 0; i < sources.size() && !stopRequested_; ++i) {
        const short events = polled[i + 1].revents;
        const std::shared_ptr<Source> source = sources[i].lock();
        if (events == 0 || !source) continue;
        if ((events & POLLNVAL) != 0) {
            source->descriptor = -1;  // somebody closed it: without end it would wake us
        } else if (!source->timer.isOpen() || takeCount(source->timer)) {
            source->handler();
        }
    }
}

// What is there now, and no work that this work posts: timers have their turn in between.
void PollMainLoop::runPosted() {
    std::unique_lock lock(mutex_);
    for (std::size_t left = posted_.size(); left > 0 && !stopRequested_; --left) {
        auto work = std::move(posted_.front());
        posted_.pop_front();
        lock.unlock();
        work();
        work = nullptr;  // what it holds may post at its end
        lock.lock();
    }
}

}  // namespace vantry
