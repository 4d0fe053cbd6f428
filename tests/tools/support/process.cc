// Spawning, waiting, and the output in between.
#include "tests/tools/support/process.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tool_tests {

namespace {

constexpr const char* out_name = ".out";
constexpr const char* err_name = ".err";

std::string content(const std::filesystem::path& path)
{
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

}  // namespace

tool_test::tool_test()
{
    std::string name = (std::filesystem::temp_directory_path() / "iocache-tool-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make a folder for the test");
    folder_ = name;
}

tool_test::~tool_test()
{
    std::filesystem::remove_all(folder_);
}

std::vector<std::string> tool_test::files() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
        const std::string name = entry.path().filename().string();
        if (name != out_name && name != err_name) names.push_back(name);
    }
    std::ranges::sort(names);
    return names;
}

pid_t tool_test::start(const std::vector<std::string>& command)
{
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t files{};
    posix_spawn_file_actions_init(&files);
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, path(out_name).c_str(), flags, 0600);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, path(err_name).c_str(), flags, 0600);
    pid_t process = 0;
    const int error = posix_spawn(&process, arguments[0], &files, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) throw std::runtime_error("cannot run " + command.front());
    return process;
}

outcome tool_test::finish(pid_t process)
{
    int status = 0;
    rusage usage{};
    if (::wait4(process, &status, 0, &usage) != process) throw std::runtime_error("cannot wait");
    outcome result;
    if (WIFEXITED(status)) result.exit_code = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    result.out = content(folder_ / out_name);
    result.err = content(folder_ / err_name);
    result.peak_bytes = std::int64_t{usage.ru_maxrss} * 1024;
    return result;
}

outcome tool_test::run(const std::vector<std::string>& command)
{
    return finish(start(command));
}

outcome tool_test::iocache(const std::vector<std::string>& arguments)
{
    return run(std::vector<std::string>{tool()} + arguments);
}

std::string tool()
{
    return IOCACHE_TOOL;
}

std::vector<std::string> process_mode()
{
    return {"--cache", "20M"};
}

std::vector<std::string> in_line_mode()
{
    return {"--cache", "20M", "--in-line"};
}

std::vector<std::string> operator+(std::vector<std::string> one, const std::vector<std::string>& other)
{
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

bool under_sanitizer()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}

}  // namespace tool_tests
