#include "support/Program.h"

#include <csignal>
#include <poll.h>
#include <sstream>
#include <thread>
#include <unistd.h>

#include "io/BoundedProcessRunner.h"
#include "local/index/SQLiteReader.h"
#include "platform/JsonReader.h"

namespace vantry {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

JsonView step(JsonView value, const std::string& name) {
    if (!value.isArray()) return value[name];
    JsonView found;
    std::size_t left = std::stoul(name);
    value.forEachElement([&](JsonView element) {
        found = left == 0 ? element : JsonView();
        return left-- > 0;
    });
    return found;
}

std::string shown(JsonView value) {
    if (value.isMissing()) return "missing";
    if (value.isNull()) return "null";
    if (const auto text = value.text()) return std::string(*text);
    if (const auto truth = value.boolean()) return *truth ? "true" : "false";
    const auto number = value.number();
    if (!number) return "size " + std::to_string(value.size());
    std::ostringstream other;
    other << *number;
    return other.str();
}

}  // namespace

bool readUntil(const FileDescriptor& stream, std::string& text, std::string_view wanted) {
    char chunk[4096];
    while (text.find(wanted) == std::string::npos) {
        pollfd readable{.fd = stream.number(), .events = POLLIN, .revents = 0};
        if (::poll(&readable, 1, 10'000) != 1) return false;
        const ssize_t count = ::read(readable.fd, chunk, sizeof chunk);
        if (count <= 0) return false;
        text.append(chunk, static_cast<std::size_t>(count));
    }
    return true;
}

void RunningProgram::signal(int number) {
    ::kill(process_.processIdentifier(), number);
}

std::optional<double> RunningProgram::secondsToEnd(int signalNumber) {
    const auto start = MonotonicClock::now();
    signal(signalNumber);
    if (!process_.waitForExit(std::chrono::seconds(10))) return std::nullopt;
    return std::chrono::duration<double>(MonotonicClock::now() - start).count();
}

ProgramTest::ProgramTest() {
    for (const char* name : {"home", "user", "tmp"}) fs::create_directory(root() / name);
}

std::vector<std::string> ProgramTest::commandLine(const std::vector<std::string>& arguments,
                                                  const Variables& variables,
                                                  const std::string& shellLine) const {
    Variables environment = variables;  // what a test gives comes first
    environment.insert({{"PATH", "/usr/bin:/bin"},
                        {"TMPDIR", root() / "tmp"},
                        {"HOME", root() / "user"},
                        {"VANTRY_HOME_OVERRIDE", root() / "home"},
                        {"VANTRY_CACHE_OVERRIDE", root() / "cache"},
                        {"VANTRY_CODEX_PATH", root() / "home/.local/bin/codex"}});
    std::vector<std::string> command{"-i"};
    for (const auto& [name, value] : environment) {
        command.push_back(std::string(name).append("=").append(value));
    }
    command.insert(command.end(), {"/bin/sh", "-c", shellLine, VANTRY_PROGRAM});
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

ProgramRun ProgramTest::run(const std::vector<std::string>& arguments, const Variables& variables,
                            const std::string& shellLine) const {
    const BoundedProcessResult result =
        BoundedProcessRunner::run({.executableURL = "/usr/bin/env",
                                   .arguments = commandLine(arguments, variables, shellLine),
                                   .timeout = 60,
                                   .maxOutputBytes = 4'000'000});
    using Kind = BoundedProcessResult::Kind;
    const bool ended = result.kind == Kind::success || result.kind == Kind::nonZeroExit;
    return {.status = ended ? result.exitCode : -1,
            .output = result.output.standardOutput,
            .error = result.output.standardError};
}

RunningProgram ProgramTest::start(const std::vector<std::string>& arguments,
                                  const Variables& variables, const std::string& shellLine) const {
    auto spawned = ChildProcess::spawn(
        {.executable = "/usr/bin/env", .arguments = commandLine(arguments, variables, shellLine)});
    return RunningProgram(std::get<ChildProcess>(std::move(spawned)));
}

std::string ProgramTest::dump(const Variables& variables) const {
    const ProgramRun ended = run({"--dump-json"}, variables);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.error, "");
    return ended.output;
}

void ProgramTest::expectPromptEnd(RunningProgram& program, int signal) const {
    EXPECT_LT(program.secondsToEnd(signal).value_or(60), 1.5);
    EXPECT_EQ(program.status(), 128 + signal) << program.output();
    expectNothingRuns();
}

void ProgramTest::expectNothingRuns() const {
    // What was killed and is nobody's child takes a moment to go.
    int looks = 0;
    while (!processes().empty() && ++looks < 100) std::this_thread::sleep_for(10ms);
    EXPECT_LT(looks, 100) << testing::PrintToString(processes());
}

void ProgramTest::installCodex(std::string_view script) const {
    directory_.writeProgram("home/.local/bin/codex", script);
}

std::map<std::string, std::uintmax_t> ProgramTest::tree() const {
    std::map<std::string, std::uintmax_t> found;
    for (const auto& entry : fs::recursive_directory_iterator(root())) {
        if (entry.path().string().starts_with((root() / "cache").string())) continue;
        found[entry.path().string()] = entry.is_regular_file() ? entry.file_size() : 0;
    }
    return found;
}

std::vector<std::string> ProgramTest::processes() const {
    std::vector<std::string> names;
    for (const auto& process : fs::directory_iterator("/proc")) {
        const std::string variables = wholeFile(process.path() / "environ");
        if (variables.find(root().string()) == std::string::npos) continue;
        names.push_back(wholeFile(process.path() / "comm"));
    }
    return names;
}

DatabaseWriter::DatabaseWriter(const fs::path& database)
    : sqlite_(std::get<ChildProcess>(ChildProcess::spawn(
          {.executable =
               *CodexUsageReader::firstExistingPath(CodexUsageReader::sqliteProgramCandidates()),
           .arguments = {database.string()},
           .standardInput = PipeInput{}}))),
      input_(sqlite_.takeStandardInput()) {
    sqlite_.closeInputReader();
}

DatabaseWriter::~DatabaseWriter() {
    input_.close();
    sqlite_.waitForExit(std::chrono::seconds(5));
}

bool DatabaseWriter::run(std::string statements) {
    statements += "\nSELECT 'carried' || ' out';\n";
    if (::write(input_.number(), statements.data(), statements.size()) < 0) return false;
    std::string said;
    return readUntil(sqlite_.standardOutput(), said, "carried out");
}

void expectFacts(const std::string& json, const std::map<std::string, std::string>& facts) {
    const auto document = JsonDocument::parse(json);
    ASSERT_TRUE(document.has_value()) << "not JSON: " << json;
    for (const auto& [path, expected] : facts) {
        JsonView value = document->root();
        std::istringstream names(path);
        for (std::string name; std::getline(names, name, '.');) value = step(value, name);
        EXPECT_EQ(shown(value), expected) << path;
    }
}

}  // namespace vantry
