// Runs the program with which the user makes room on a full disk, and waits for its end. Its arguments are split at
// blanks and handed over as they are: no shell sees them.
#include "host/configuration.h"
#include "host/iocache_host.h"

#include <cerrno>
#include <cstring>
#include <sstream>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::vector<std::string> split_at_blanks(const std::string& command)
{
    std::vector<std::string> words;
    std::istringstream stream{command};
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

// The exit status as waitpid tells it. A host that ignores SIGCHLD never learns it: that counts as success.
int wait_for_end(pid_t process)
{
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) return 0;
    }
    return status;
}

// 0 when the program ran and ended with exit code 0, else -1.
int32_t run_and_wait(std::vector<std::string>& words)
{
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t process = 0;
    const int problem = posix_spawnp(&process, arguments[0], nullptr, nullptr, arguments.data(), environ);
    if (problem != 0) {
        wrt_err(("Other program : cannot run " + words[0] + " : " + std::strerror(problem)).c_str());
        return -1;
    }
    const int status = wait_for_end(process);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : -1;
}

}  // namespace

int32_t start_another_program(const char* name)
{
    // Without a name it is for the host to decide what to run.
    const std::string command = name && *name ? name : iocache::host::option_text("disk_full_program");
    std::vector<std::string> words = split_at_blanks(command);
    return words.empty() ? -1 : run_and_wait(words);
}
