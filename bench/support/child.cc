// Results come back through a pipe, as JSON.
#include "bench/support/child.h"

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <string>

#include "bench/support/fail.h"
#include "bench/support/series_json.h"

namespace iocache_bench {

namespace {

void send_all(int descriptor, const std::string& text)
{
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t now = ::write(descriptor, text.data() + sent, text.size() - sent);
        if (now <= 0) fail("a child cannot tell what it found");
        sent += static_cast<size_t>(now);
    }
}

std::string receive_all(int descriptor)
{
    std::string text;
    std::array<char, 4096> some{};
    for (ssize_t got = 0; (got = ::read(descriptor, some.data(), some.size())) > 0;)
        text.append(some.data(), static_cast<size_t>(got));
    return text;
}

[[noreturn]] void be_child(int descriptor, const std::function<std::vector<series>()>& measure)
{
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const series& each : measure()) all.push_back(as_json(each));
    send_all(descriptor, all.dump());
    ::_exit(EXIT_SUCCESS);
}

}  // namespace

std::vector<series> in_child(const std::function<std::vector<series>()>& measure)
{
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) fail("cannot open a pipe");
    const pid_t child = ::fork();
    if (child < 0) fail("cannot start a process");
    if (child == 0) be_child(ends[1], measure);
    ::close(ends[1]);
    const std::string text = receive_all(ends[0]);
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) fail("a process of its own failed");
    std::vector<series> found;
    for (const auto& each : nlohmann::ordered_json::parse(text)) found.push_back(series_of(each));
    return found;
}

double highest_resident_memory()
{
    std::ifstream status("/proc/self/status");
    for (std::string name; status >> name;) {
        if (name != "VmHWM:") continue;
        double kibibytes = 0;
        status >> kibibytes;
        return kibibytes / 1024;
    }
    fail("the kernel does not tell the resident memory");
}

}  // namespace iocache_bench
