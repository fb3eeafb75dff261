#include "corpus/SessionWriter.h"

#include <algorithm>

#include "corpus/RolloutLog.h"
#include "corpus/SessionLines.h"

namespace vantry::corpus {

namespace {

constexpr std::int64_t smallestBulk = 400;
constexpr std::int64_t usualAnswerBytes = 4'000;  ///< with its share of the turn around it
constexpr std::int64_t longestHole = 2 * 1024 * 1024;

/// Most outputs are short, most of the bytes are in a few long ones.
std::int64_t bulkBytes(Random& random) {
    const double kind = random.fraction();
    if (kind < 0.55) return random.between(1'000, 12'000);
    if (kind < 0.88) return random.between(10'000, 60'000);
    if (kind < 0.985) return random.between(60'000, 400'000);
    return random.between(400'000, 5'000'000);
}

class Writer {
  public:
    Writer(const Family& family, const Session& session, const SessionFile& file,
           const CorpusOptions& options, const Filler& filler)
        : family_(family),
          session_(session),
          options_(options),
          goal_(file.bytes),
          random_(file.seed),
          log_(file.path, session.format, baseMark().ordinal),
          lines_(log_, session_, filler, random_),
          counter_(session.inherited) {}

    WrittenLog write();
    std::vector<LineMark> takeMarks() { return std::move(marks_); }

  private:
    std::string_view parentId() const {
        return session_.parent ? family_[*session_.parent].id : session_.claimedParent;
    }
    bool claimsBase() const {
        return session_.kind == SessionKind::inheritingFork && !session_.claimedParent.empty();
    }
    std::string_view baseId() const {
        if (session_.base) return family_[session_.base->session].id;
        return claimsBase() ? session_.claimedParent : std::string_view();
    }
    LineMark baseMark() const {
        if (session_.base) return family_[session_.base->session].marks[session_.base->turns];
        return claimsBase() ? LineMark{.ordinal = 40, .offset = 60'000} : LineMark{};
    }

    void writeHeader(Millis at);
    void writeOpening();
    void writeTurn(const Turn& turn, bool isCopied);
    void writeCompaction(const Turn& turn, bool isCopied);
    void writeSample(const Turn& turn, const Sample& sample, bool isCopied);
    void writeReading(Millis at);
    void writeDamage();
    void writeEnd();
    void fill(Millis at);
    void writeHoles(std::size_t turn);
    bool odd() { return random_.chance(options_.mix.oddities); }
    std::size_t instructionBytes() const { return options_.lean ? 200 : 20'000; }
    std::int64_t written() const { return log_.offset() - holes_; }
    std::int64_t room() const;
    std::size_t outputBytes(bool isCopied);

    const Family& family_;
    const Session& session_;
    const CorpusOptions& options_;
    std::int64_t goal_;
    Random random_;
    RolloutLog log_;
    SessionLines lines_;
    Counter counter_;
    std::vector<LineMark> marks_;
    std::int64_t readings_ = 0;
    std::int64_t holes_ = 0;  ///< bytes
    std::int64_t samplesLeft_ = 0;
};

WrittenLog Writer::write() {
    for (std::size_t i = session_.copiedTurns; i < session_.turns.size(); ++i) {
        samplesLeft_ += static_cast<std::int64_t>(session_.turns[i].samples.size());
    }
    writeOpening();
    if (session_.turns.empty()) writeHoles(0);
    for (std::size_t i = 0; i < session_.turns.size(); ++i) {
        writeHoles(i);
        marks_.push_back({.ordinal = log_.ordinal(), .offset = log_.offset()});
        writeTurn(session_.turns[i], i < session_.copiedTurns);
    }
    marks_.push_back({.ordinal = log_.ordinal(), .offset = log_.offset()});
    if (session_.damaged) writeDamage();
    writeEnd();
    marks_.back().offset = std::min(marks_.back().offset, log_.offset());
    const WrittenLog written{
        .bytes = log_.offset(), .holeBytes = holes_, .tokenEventLines = readings_};
    log_.close(session_.lastAt());
    return written;
}

void Writer::writeHeader(Millis at) {
    lines_.header(session_, {.at = at,
                             .instructionBytes = instructionBytes(),
                             .parentId = parentId(),
                             .baseId = baseId(),
                             .baseMark = baseMark()});
}

void Writer::writeOpening() {
    writeHeader(session_.createdAt);
    if (session_.carriesParentHeader) {
        lines_.header(family_[*session_.parent],
                      {.at = session_.createdAt, .instructionBytes = instructionBytes()});
        if (session_.copiedTurns == 0) {  // a subagent sees the talk, not the calls and counters
            const Turn seen{.start = session_.createdAt};
            lines_.turnStarts(seen);
            lines_.turnContext(seen);
            lines_.userMessage(seen.start);
        }
    }
    lines_.settings(session_.createdAt);
    if (!options_.lean && !session_.base) lines_.surroundings(session_.createdAt);
    if (odd()) lines_.rateLimitsAlone(session_.createdAt);
}

void Writer::writeTurn(const Turn& turn, bool isCopied) {
    if (turn.reopened && !isCopied) writeHeader(turn.start);
    lines_.turnStarts(turn);
    if (turn.compacts) {
        writeCompaction(turn, isCopied);
    } else {
        lines_.turnContext(turn);
        if (!options_.lean) lines_.userMessage(turn.start);
        for (const Sample& sample : turn.samples) writeSample(turn, sample, isCopied);
    }
    if (!turn.interrupted) lines_.turnEnds(turn);
    counter_.advance(turn);
}

/// The reading before is told again, then the answer that sums up, and then the same total with a
/// guess of the context's new size where the last answer's usage would stand.
void Writer::writeCompaction(const Turn& turn, bool isCopied) {
    if (counter_.told) writeReading(turn.start);
    lines_.turnContext(turn);
    for (const Sample& sample : turn.samples) writeSample(turn, sample, isCopied);
    lines_.compacted(turn.end(), outputBytes(isCopied));
    counter_.advance(turn);
    writeReading(turn.end());
}

void Writer::writeSample(const Turn& turn, const Sample& sample, bool isCopied) {
    for (const ToolCall& call : sample.calls) lines_.toolCall(call, sample.at);
    if (!options_.lean && !isCopied) lines_.usageRecord(sample);
    for (const ToolCall& call : sample.calls) {
        lines_.toolOutput(call, sample.at, outputBytes(isCopied));
    }
    if (sample.calls.empty() && !options_.lean) lines_.agentMessage(sample.at);
    if (odd()) lines_.oddity(sample.at);
    if (!isCopied) fill(sample.at);
    counter_ = {.total = sample.total, .last = sample.added, .told = true};
    for (int i = 0; i <= sample.repeats; ++i) writeReading(sample.at);
    if (!isCopied && &sample == &turn.samples.back() && odd()) lines_.oddity(sample.at);
}

void Writer::writeReading(Millis at) {
    lines_.reading(at, counter_);
    ++readings_;
}

/// What can still be filled: the answers to come need room too.
std::int64_t Writer::room() const {
    return goal_ - written() - samplesLeft_ * usualAnswerBytes;
}

std::size_t Writer::outputBytes(bool isCopied) {
    if (isCopied || options_.lean) return 200;
    return static_cast<std::size_t>(
        std::max<std::int64_t>(std::min(bulkBytes(random_), room() / 4), 200));
}

/// So much that every answer has the same part of what is left, give or take a line.
void Writer::fill(Millis at) {
    const std::int64_t part = room() / std::max<std::int64_t>(samplesLeft_--, 1);
    const std::int64_t until = samplesLeft_ == 0 ? goal_ - usualAnswerBytes / 4 : written() + part;
    while (until - written() > smallestBulk) {
        const std::int64_t most = until - written() + room() / 8;
        const std::int64_t left = std::max(room(), smallestBulk);
        lines_.bulk(at, static_cast<std::size_t>(std::min({bulkBytes(random_), most, left})));
    }
}

/// Before a turn, so that every turn has an equal part of the log's holes before it.
void Writer::writeHoles(std::size_t turn) {
    const std::int64_t all =
        options_.sparseBytes / std::max<std::int64_t>(options_.conversations, 1);
    const auto turns = static_cast<std::int64_t>(session_.turns.size());
    const auto isLast = static_cast<std::int64_t>(turn) + 1 >= turns;
    const std::int64_t until = isLast ? all : all / turns * static_cast<std::int64_t>(turn + 1);
    while (holes_ < until && (isLast || until - holes_ >= longestHole)) {
        const std::int64_t bytes = std::min(until - holes_, longestHole);
        lines_.hole(turns == 0 ? session_.createdAt : session_.turns[turn].start, bytes);
        holes_ += bytes;
    }
}

void Writer::writeDamage() {
    Counter impossible = counter_;
    impossible.total.cachedInputTokens = impossible.total.inputTokens + 1;
    lines_.reading(session_.lastAt(), impossible);
}

void Writer::writeEnd() {
    switch (session_.end) {
        case LogEnd::finished:
            break;
        case LogEnd::fragment:
            lines_.tornLine(session_.lastAt());
            break;
        case LogEnd::unterminated:
            log_.dropLineFeed();
            break;
    }
}

}  // namespace

WrittenLog writeSession(Family& family, std::size_t index, const SessionFile& file,
                        const CorpusOptions& options, const Filler& filler) {
    Writer writer(family, family[index], file, options, filler);
    const WrittenLog written = writer.write();
    family[index].marks = writer.takeMarks();
    return written;
}

}  // namespace vantry::corpus
