// A program started by a test; killed at the end of the scope if it still runs.
#ifndef IOCACHE_TESTS_PAINT_CHILD_PROCESS_H
#define IOCACHE_TESTS_PAINT_CHILD_PROCESS_H

#include <chrono>
#include <csignal>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace paint_test {

class child_process {
public:
    // The environment is this program's with these changes, each NAME=VALUE.
    child_process(std::vector<std::string> command, std::vector<std::string> environment_changes = {})
    {
        std::vector<char*> arguments;
        arguments.reserve(command.size() + 1);
        for (std::string& argument : command) arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        std::vector<char*> variables;  // of two with one name the first counts
        variables.reserve(environment_changes.size());
        for (std::string& variable : environment_changes) variables.push_back(variable.data());
        for (char** variable = environ; *variable != nullptr; ++variable) variables.push_back(*variable);
        variables.push_back(nullptr);
        if (posix_spawn(&id_, arguments[0], nullptr, nullptr, arguments.data(), variables.data()) != 0)
            throw std::runtime_error("cannot start " + command[0]);
    }
    ~child_process()
    {
        if (finish(std::chrono::seconds(0))) return;
        signal(SIGKILL);
        waitpid(id_, nullptr, 0);
    }
    child_process(const child_process&) = delete;
    child_process& operator=(const child_process&) = delete;

    void signal(int number) const { kill(id_, number); }
    // The exit code, -1 when a signal ended it; nothing when it runs longer than this.
    std::optional<int> finish(std::chrono::milliseconds most)
    {
        const auto until = std::chrono::steady_clock::now() + most;
        while (!exit_code_) {
            int status = 0;
            if (waitpid(id_, &status, WNOHANG) == id_) exit_code_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            if (exit_code_ || std::chrono::steady_clock::now() >= until) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return exit_code_;
    }

private:
    pid_t id_ = -1;
    std::optional<int> exit_code_;
};

}  // namespace paint_test

#endif
