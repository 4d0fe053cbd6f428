// Jobs in processes of their own, several at a time: for work that can be done once in a process only, or that must be
// possible to stop at any moment.
//
// The calling process has one thread while jobs run. A job's process ends with it, however it ends.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace iocache::tools {

struct job_result {
    std::size_t job;   // its number
    int status;        // as waitpid gives it
    std::string text;  // what the work returned; less of it when the process was ended
};

class job_pool {
public:
    // `work` gets the number of a job, in the job's process, and throws nothing. What it prints to standard output is
    // lost: its text is all that it has to say.
    job_pool(std::size_t at_once, std::function<std::string(std::size_t)> work)
        : at_once_(at_once),
          work_(std::move(work))
    {}
    job_pool(const job_pool&) = delete;
    job_pool& operator=(const job_pool&) = delete;
    // Ends the jobs that still work, and waits for their ends.
    ~job_pool();

    // Does jobs 0 to `jobs` - 1 and hands each result over as it comes. Throws `interrupted` and what `done` throws.
    void run(std::size_t jobs, const std::function<void(const job_result&)>& done);

private:
    struct running {
        std::size_t job;
        pid_t process;
        int result;  // where its text comes from
        std::string text;
    };

    std::size_t at_once_;
    std::function<std::string(std::size_t)> work_;
    std::vector<running> running_;

    void start(std::size_t job);
    [[noreturn]] void work_in_child(std::size_t job, int result) const;
    // Takes what the jobs have to say, for a moment at most. True when one of them has nothing more to say.
    bool listen(std::size_t& ended);
    job_result end(std::size_t place);
};

}  // namespace iocache::tools
