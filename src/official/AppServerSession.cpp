#include "official/AppServerSession.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <optional>
#include <poll.h>
#include <unistd.h>
#include <utility>
#include <variant>
#include <vector>

#include "io/AppServerRequestWriter.h"
#include "io/ChildProcess.h"
#include "io/Deadline.h"
#include "official/AppServerConversation.h"
#include "official/LineSplitter.h"

namespace vantry::CodexUsageReader {

namespace {

using Trouble = AppServerConversation::Trouble;
using namespace std::chrono_literals;

constexpr auto terminationGrace = 250ms;
constexpr auto killGrace = 250ms;
constexpr auto deathGrace = 20ms;

AppServerRead failedRead(AppServerReadState state, NoticeKind why) {
    return {.snapshot = {.readState = state}, .messages = {{why}}};
}

/// The child, its three pipes and the conversation held through them.
class Session {
  public:
    Session(const AppServerRequest& request, ChildProcess child,
            std::unique_ptr<AppServerRequestWriter> writer)
        : child_(std::move(child)),
          writer_(std::move(writer)),
          splitter_({.lineBytes = request.maxLineBytes, .lineCount = request.maxLineCount}),
          cancellation_(request.cancellation),
          maxOutputBytes_(request.maxOutputBytes),
          conversation_({.now = request.now,
                         .requestedResponseIDs = request.requestedResponseIDs,
                         .maxMessageCount = request.maxMessageCount,
                         .beforeParsingResponse = request.beforeParsingResponse},
                        [this](std::string_view line) { return send(line); }) {}

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    AppServerRead hold(double timeout) {
        conversation_.begin();
        child_.closeInputReader();
        converse(MonotonicClock::now() + boundedDuration(timeout));
        writer_->close();
        stop();
        return conversation_.result();
    }

  private:
    // A child that dies breaks its pipe a moment before its end shows.
    std::optional<Trouble> send(std::string_view line) {
        if (writer_->write(line).outcome == AppServerRequestWriter::Outcome::written) {
            return std::nullopt;
        }
        return child_.waitForExit(deathGrace) ? Trouble::endedEarly : Trouble::requestNotWritten;
    }

    void converse(MonotonicClock::time_point deadline) {
        while (!conversation_.isOver()) {
            if (MonotonicClock::now() >= deadline || !readSome(deadline)) {
                conversation_.end(Trouble::timedOut);
            }
        }
    }

    /// Waits for bytes, or for the child's end where `alsoForExit`, and takes what is there. False
    /// when nothing came before the deadline. A conversation that is cancelled is over.
    bool readSome(MonotonicClock::time_point deadline, bool alsoForExit = false) {
        const auto numberOf = [](const FileDescriptor& stream) {
            return stream.isOpen() ? stream.number() : -1;
        };
        std::array<pollfd, 4> events{
            pollfd{.fd = numberOf(child_.standardOutput()), .events = POLLIN, .revents = 0},
            pollfd{.fd = numberOf(child_.standardError()), .events = POLLIN, .revents = 0},
            pollfd{
                .fd = alsoForExit ? numberOf(child_.pidfd()) : -1, .events = POLLIN, .revents = 0},
            pollfd{.fd = conversation_.isOver() ? -1 : cancellation_.descriptor(),
                   .events = POLLIN,
                   .revents = 0}};
        if (pollUntil(events, deadline) == 0) return false;
        if (events[0].revents != 0) readOutput();
        if (events[1].revents != 0) readError();
        if (events[3].revents != 0) conversation_.end(Trouble::endedEarly);
        return true;
    }

    void readOutput() {
        const auto bytes = take(child_.standardOutput());
        if (!bytes) return;
        if (bytes->empty()) {
            child_.standardOutput().close();
            splitter_.finish(receive_);
            conversation_.end(Trouble::endedEarly);
            return;
        }
        if (conversation_.isOver()) return;
        if (!isWithinOutputLimit(bytes->size()) || !splitter_.append(*bytes, receive_)) {
            conversation_.end(Trouble::outputExceeded);
        }
    }

    // What the child complains of is for nobody here; it only counts. The end of this stream says
    // nothing about the answers.
    void readError() {
        const auto bytes = take(child_.standardError());
        if (!bytes) return;
        if (bytes->empty()) {
            child_.standardError().close();
        } else if (!isWithinOutputLimit(bytes->size())) {
            conversation_.end(Trouble::outputExceeded);
        }
    }

    /// What is there to read: nothing if there is nothing yet, no bytes at the end of the stream.
    std::optional<std::string_view> take(const FileDescriptor& stream) {
        const ssize_t count = ::read(stream.number(), chunk_.data(), chunk_.size());
        if (count < 0 && (errno == EAGAIN || errno == EINTR)) return std::nullopt;
        return std::string_view(chunk_.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }

    bool isWithinOutputLimit(std::size_t more) {
        if (more > maxOutputBytes_ - outputBytes_) return false;
        outputBytes_ += more;
        return true;
    }

    // Polite, then hard; the pipes are read on meanwhile, so that the child cannot hang on them.
    // Whoever still holds them when the child has ended was started by it, and has the same time.
    void stop() {
        child_.terminate();
        if (endsWithin(terminationGrace)) return;
        child_.kill();
        endsWithin(killGrace);
    }

    bool endsWithin(MonotonicClock::duration grace) {
        const auto deadline = MonotonicClock::now() + grace;
        for (bool runs = child_.running(); runs || outputIsHeld(); runs = child_.running()) {
            if (MonotonicClock::now() >= deadline || !readSome(deadline, runs)) return false;
        }
        return true;
    }

    bool outputIsHeld() {
        return child_.standardOutput().isOpen() || child_.standardError().isOpen();
    }

    ChildProcess child_;
    std::unique_ptr<AppServerRequestWriter> writer_;
    LineSplitter splitter_;
    Cancellation cancellation_;
    std::size_t maxOutputBytes_;
    std::size_t outputBytes_ = 0;
    AppServerConversation conversation_;
    LineSplitter::Receive receive_ = [this](std::string_view line) { conversation_.receive(line); };
    std::vector<char> chunk_ = std::vector<char>(65'536);
};

}  // namespace

AppServerRead readAppServer(const AppServerRequest& request) {
    const auto executable = request.executablePath ? request.executablePath
                                                   : resolveCodexExecutablePath(request.search);
    if (!executable) {
        return failedRead(AppServerReadState::executableMissing,
                          request.search.chosenProgram ? NoticeKind::chosenCodexNotRunnable
                                                       : NoticeKind::codexMissing);
    }
    const Cancellation::Hold hold(request.cancellation);
    if (request.cancellation.isCancelled()) {
        return failedRead(AppServerReadState::failed, NoticeKind::appServerNotStarted);
    }
    auto spawned = ChildProcess::spawn({.executable = *executable,
                                        .arguments = {"app-server"},
                                        .environment = request.environment,
                                        .standardInput = PipeInput{}});
    auto* child = std::get_if<ChildProcess>(&spawned);
    auto creation = child != nullptr ? AppServerRequestWriter::create(child->takeStandardInput())
                                     : AppServerRequestWriter::Creation{};
    if (!creation.writer) {
        return failedRead(AppServerReadState::failed, NoticeKind::appServerNotStarted);
    }
    return Session(request, std::move(*child), std::move(creation.writer))
        .hold(request.responseTimeout);
}

}  // namespace vantry::CodexUsageReader
