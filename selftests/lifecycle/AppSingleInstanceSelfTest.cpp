#include <fstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

#include "lifecycle/Activation.h"
#include "platform/PollMainLoop.h"
#include "selftests/Suites.h"
#include "selftests/support/Moments.h"
#include "selftests/support/SelfTest.h"

namespace vantry::AppSingleInstanceSelfTest {

namespace {

using Guard = AppSingleInstanceGuard::Guard;

constexpr const char* bundleIdentifier = "self-test";

/// The guard; null where another holds the lock or the system refuses.
Guard acquired(const std::filesystem::path& directory) {
    auto outcome = AppSingleInstanceGuard::acquire(bundleIdentifier, directory);
    auto* guard = std::get_if<Guard>(&outcome);
    return guard != nullptr ? std::move(*guard) : nullptr;
}

void checkLock(SelfTest& test) {
    const TemporaryDirectory directory("vantry-single-instance-");
    const auto file = directory.write("plain", "not a directory");
    test.expect(std::holds_alternative<AppSingleInstanceGuard::Failure>(
                    AppSingleInstanceGuard::acquire(bundleIdentifier, file)),
                "invalid lock directory should throw");
    Guard first = acquired(directory.path() / "lock");
    test.expect(first != nullptr, "first lock was unavailable");
    test.expect(acquired(directory.path() / "lock") == nullptr, "competing lock was acquired");
    first.reset();
    test.expect(acquired(directory.path() / "lock") != nullptr,
                "released lock could not be reacquired");
}

/// A running program that turns its loop while `ask` runs on another thread.
template <class Ask>
std::vector<std::string> tokensHeard(const AppSingleInstanceGuard& guard, Ask ask) {
    std::vector<std::string> tokens;
    PollMainLoop loop;
    const ActivationListener listener(loop, guard,
                                      [&](const std::string& token) { tokens.push_back(token); });
    std::thread asking([&] {
        ask();
        loop.post([&] { loop.stop(); });
    });
    loop.run();
    asking.join();
    return tokens;
}

/// A client of the socket that sends these bytes and waits for nothing.
FileDescriptor clientSending(const std::filesystem::path& directory, const std::string& bytes) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = (directory / "activation.socket").string();
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) ==
        0) {
        ::send(socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    return socket;
}

void checkActivation(SelfTest& test) {
    const TemporaryDirectory home("vantry-single-instance-");
    // Longer than an address of a socket can be.
    const auto directory = home.path() / std::string(120, 'd');
    const auto answerOf = [&](const std::string& token) {
        return requestActivation({.directory = directory, .token = token, .timeout = 0.5});
    };
    test.expect(answerOf("") == ActivationAnswer::nobody, "nobody runs");
    Guard guard = acquired(directory);
    std::vector<ActivationAnswer> answers;
    const auto tokens = tokensHeard(*guard, [&] {
        for (const std::string& token : {std::string("token-1"), std::string(1'000'000, 'n')}) {
            answers.push_back(answerOf(token));
        }
    });
    test.expect(answers == std::vector(2, ActivationAnswer::heard), "the running program answers");
    test.expect(tokens == std::vector<std::string>{"token-1", ""},
                "a token arrives whole, and one that is a novel is left out");
    test.expect(answerOf("") == ActivationAnswer::nobody, "who has ended is not there");

    PollMainLoop still;
    std::optional<ActivationListener> hanging(std::in_place, still, *guard,
                                              [](const std::string&) {});
    test.expect(answerOf("") == ActivationAnswer::noAnswer,
                "a program that hangs is not waited for");
    hanging.reset();

    std::ofstream(directory / "activation.socket") << "not a socket";
    const ActivationListener refused(still, *guard, [](const std::string&) {});
    test.expect(
        !refused.isListening() && wholeFile(directory / "activation.socket") == "not a socket",
        "what somebody else put there stays");
    test.expect(answerOf("") == ActivationAnswer::notOurs, "and is not spoken to");
}

void checkRudeClients(SelfTest& test) {
    const TemporaryDirectory directory("vantry-single-instance-");
    const Guard guard = acquired(directory.path());
    std::vector<FileDescriptor> rude;
    ActivationAnswer answer{};
    const auto tokens = tokensHeard(*guard, [&] {
        rude.push_back(clientSending(directory.path(), std::string(20'000, 'x')));
        rude.push_back(clientSending(directory.path(), "vantry-activate with a space\n"));
        for (int i = 0; i < 12; ++i) rude.push_back(clientSending(directory.path(), "vantry"));
        answer = requestActivation({.directory = directory.path(), .token = "t", .timeout = 3});
    });
    test.expect(answer == ActivationAnswer::heard && tokens == std::vector<std::string>{"t"},
                "clients that are silent or talk too much cost themselves alone");
}

void checkTokens(SelfTest& test) {
    const auto tokenOf = [](const std::map<std::string, std::string>& variables) {
        return activationToken(environmentOf(variables));
    };
    test.expect(
        tokenOf({{"XDG_ACTIVATION_TOKEN", "a"}, {"DESKTOP_STARTUP_ID", "b"}}) == "a" &&
            tokenOf({{"XDG_ACTIVATION_TOKEN", "a b"}, {"DESKTOP_STARTUP_ID", "b"}}) == "b" &&
            tokenOf({{"DESKTOP_STARTUP_ID", std::string(4'097, 'b')}}).empty(),
        "the first token that is one");
}

}  // namespace

bool run() {
    return SelfTest::run("single instance",
                         {checkLock, checkActivation, checkRudeClients, checkTokens});
}

}  // namespace vantry::AppSingleInstanceSelfTest
