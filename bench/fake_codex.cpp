#include <cstdio>
#include <cstring>
#include <ctime>
#include <unistd.h>

namespace {

constexpr const char* hello = "{\"id\":1,\"result\":{}}\n";
constexpr const char* account =
    R"({"id":2,"result":{"account":{"type":"chatgpt","planType":"plus","email":null}}})"
    "\n";

void say(const char* text) {
    std::size_t left = std::strlen(text);
    while (left > 0) {
        const ssize_t count = ::write(STDOUT_FILENO, text, left);
        if (count <= 0) ::_exit(1);
        text += count;
        left -= static_cast<std::size_t>(count);
    }
}

void sayQuota(int id) {
    char text[512];
    std::snprintf(
        text, sizeof text,
        R"({"id":%d,"result":{"accountId":"bench-account","rateLimits":{)"
        R"("primary":{"usedPercent":23,"windowDurationMins":300,"resetsAt":4102444800},)"
        R"("secondary":{"usedPercent":40,"windowDurationMins":10080,"resetsAt":4102444800},)"
        R"("credits":{"hasCredits":false,"unlimited":false,"balance":"0"}},)"
        R"("rateLimitResetCredits":{"availableCount":2}}})"
        "\n",
        id);
    say(text);
}

// Half a year of days.
void sayUsage() {
    static char text[16384];
    constexpr int days = 180;
    std::size_t size = 0;
    const auto append = [&](const char* format, auto... values) {
        size += static_cast<std::size_t>(
            std::snprintf(text + size, sizeof text - size, format, values...));
    };
    append("%s",
           R"({"id":4,"result":{"summary":{"lifetimeTokens":123456789},"dailyUsageBuckets":[)");
    const std::time_t now = std::time(nullptr);
    for (int age = days - 1; age >= 0; --age) {
        const std::time_t day = now - age * 86'400;
        std::tm date{};
        ::gmtime_r(&day, &date);
        append(R"({"startDate":"%04d-%02d-%02d","tokens":%d}%s)", date.tm_year + 1900,
               date.tm_mon + 1, date.tm_mday, 1'000'000 + age, age > 0 ? "," : "");
    }
    append("%s", "]}}\n");
    say(text);
}

void answer(const char* request) {
    const char* id = std::strstr(request, "\"id\":");
    switch (id != nullptr ? id[5] : '\0') {
        case '1':
            return say(hello);
        case '2':
            return say(account);
        case '3':
            return sayQuota(3);
        case '4':
            return sayUsage();
        case '5':
            return sayQuota(5);
        default:
            break;
    }
}

}  // namespace

/// Answers each request at once, until its input ends.
int main() {
    static char buffer[8192];
    std::size_t size = 0;
    for (;;) {
        const ssize_t count = ::read(STDIN_FILENO, buffer + size, sizeof buffer - size - 1);
        if (count <= 0) return 0;
        size += static_cast<std::size_t>(count);
        buffer[size] = '\0';
        char* line = buffer;
        while (char* end = std::strchr(line, '\n')) {
            *end = '\0';
            answer(line);
            line = end + 1;
        }
        size -= static_cast<std::size_t>(line - buffer);
        std::memmove(buffer, line, size);
    }
}
