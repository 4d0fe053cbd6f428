// What the parts of the laboratory share: how long they run, from which seed, where, and how they tell their figures.
#ifndef IOCACHE_TESTS_RELIABILITY_LABORATORY_H
#define IOCACHE_TESTS_RELIABILITY_LABORATORY_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>

#include <csignal>
#include <execinfo.h>
#include <sys/wait.h>
#include <unistd.h>

namespace iocache_test {

struct laboratory_options {
    double seconds = 10.0;
    uint32_t seed = 1;
    bool all = false;  // everything there is, however long it takes
    std::string only;  // parts of this name; empty: all of them
    int jobs = 1;      // processes that share the work, in parts that can be shared
};

// [--seconds N] [--seed N] [--only NAME] [--jobs N] [--all]; ends the process when it is something else.
inline laboratory_options parse_options(int argc, char** argv)
{
    laboratory_options options;
    for (int i = 1; i < argc; ++i) {
        const bool has_value = i + 1 < argc;
        if (std::strcmp(argv[i], "--seconds") == 0 && has_value) {
            options.seconds = std::atof(argv[++i]);
        } else if (std::strcmp(argv[i], "--seed") == 0 && has_value) {
            options.seed = static_cast<uint32_t>(std::strtoul(argv[++i], nullptr, 10));
        } else if (std::strcmp(argv[i], "--only") == 0 && has_value) {
            options.only = argv[++i];
        } else if (std::strcmp(argv[i], "--jobs") == 0 && has_value) {
            options.jobs = std::max(1, std::atoi(argv[++i]));
        } else if (std::strcmp(argv[i], "--all") == 0) {
            options.all = true;
        } else {
            std::fprintf(stderr, "usage: %s [--seconds N] [--seed N] [--only NAME] [--jobs N] [--all]\n", argv[0]);
            std::exit(2);
        }
    }
    return options;
}

// A program of the laboratory: run(options) is its exit code; what it throws is told, and fails.
inline int run_laboratory(int argc, char** argv, int (*run)(const laboratory_options&))
{
    try {
        return run(parse_options(argc, argv));
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        return 1;
    }
}

class stopwatch {
public:
    double seconds() const { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count(); }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

// A folder in memory where there is one: the laboratory asks what the library does, not what a disk takes.
class laboratory_folder {
public:
    laboratory_folder()
    {
        const bool in_memory = std::filesystem::exists("/dev/shm");
        std::string name = (in_memory ? std::string("/dev/shm") : std::filesystem::temp_directory_path().string()) +
                           "/iocache-laboratory-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) std::abort();
        path_ = name;
    }
    ~laboratory_folder() { std::filesystem::remove_all(path_); }
    laboratory_folder(const laboratory_folder&) = delete;
    laboratory_folder& operator=(const laboratory_folder&) = delete;
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// How a child ended.
struct child_end {
    int exit_code = -1;  // -1: a signal ended it
    int signal = 0;
    bool hung() const { return signal == SIGALRM; }
    bool died() const { return signal != 0 && signal != SIGALRM; }
};

inline volatile std::sig_atomic_t watched_seconds = 0;  // 0: the time has passed once

// From now on this process may take so long for what it does next.
inline void watch_for(unsigned seconds)
{
    watched_seconds = static_cast<std::sig_atomic_t>(seconds);
    alarm(seconds);
}

// Where a child hangs, for whoever looks for the cause. A machine that stood still is given the time once more.
inline void tell_where_it_hangs(int signal_number)
{
    if (watched_seconds > 0) {
        alarm(static_cast<unsigned>(watched_seconds));
        watched_seconds = 0;
        return;
    }
    constexpr int most_frames = 40;
    void* frames[most_frames];
    backtrace_symbols_fd(frames, backtrace(frames, most_frames), STDERR_FILENO);
    std::signal(signal_number, SIG_DFL);
    raise(signal_number);
}

// Runs body in a child; its result is the exit code. One that takes too long is ended by SIGALRM.
inline child_end run_in_child(const std::function<int()>& body, unsigned limit_seconds = 60)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        std::signal(SIGALRM, tell_where_it_hangs);
        watch_for(limit_seconds);
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    child_end end;
    if (WIFEXITED(status)) end.exit_code = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) end.signal = WTERMSIG(status);
    return end;
}

inline double share(int64_t part, int64_t whole)
{
    return whole == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace iocache_test

#endif
