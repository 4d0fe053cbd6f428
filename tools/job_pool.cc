// One pipe for each job: its end tells that the job is done.
#include "tools/job_pool.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/failure.h"
#include "tools/interrupt.h"

namespace iocache::tools {

namespace {

// A signal that comes between two looks at it waits no longer.
constexpr int longest_wait_ms = 100;

int wait_for(pid_t process)
{
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {}
    return status;
}

void write_all(int target, const std::string& text)
{
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = ::write(target, text.data() + done, text.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return;  // nobody listens any more
        done += static_cast<std::size_t>(count);
    }
}

}  // namespace

job_pool::~job_pool()
{
    for (const running& now : running_) ::kill(now.process, SIGTERM);
    for (const running& now : running_) {
        ::close(now.result);
        wait_for(now.process);
    }
}

void job_pool::run(std::size_t jobs, const std::function<void(const job_result&)>& done)
{
    for (std::size_t next = 0; next < jobs || !running_.empty();) {
        check_interrupt();
        if (next < jobs && running_.size() < at_once_) {
            start(next++);
            continue;
        }
        std::size_t ended = 0;
        if (listen(ended)) done(end(ended));
    }
}

void job_pool::start(std::size_t job)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw system_failure("job", "cannot start");
    std::fflush(nullptr);  // or the child would write it too
    const pid_t parent = ::getpid();
    const pid_t process = ::fork();
    if (process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(EXIT_FAILURE);  // it was ended before it could be said
        ::close(ends[0]);
        work_in_child(job, ends[1]);
    }
    ::close(ends[1]);
    if (process < 0) {
        ::close(ends[0]);
        throw system_failure("job", "cannot start");
    }
    running_.push_back({job, process, ends[0], {}});
}

void job_pool::work_in_child(std::size_t job, int result) const
{
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::exit(EXIT_FAILURE);
    write_all(result, work_(job));
    std::exit(EXIT_SUCCESS);
}

bool job_pool::listen(std::size_t& ended)
{
    std::vector<pollfd> ends;
    for (const running& now : running_) ends.push_back({now.result, POLLIN, 0});
    if (::poll(ends.data(), ends.size(), longest_wait_ms) <= 0) return false;
    for (std::size_t i = 0; i < ends.size(); ++i) {
        if (ends[i].revents == 0) continue;
        std::array<char, 4096> piece{};
        const ssize_t count = ::read(running_[i].result, piece.data(), piece.size());
        if (count > 0) {
            running_[i].text.append(piece.data(), static_cast<std::size_t>(count));
        } else if (count == 0) {
            ended = i;
            return true;
        }
    }
    return false;
}

job_result job_pool::end(std::size_t place)
{
    const running over = running_[place];
    running_.erase(running_.begin() + static_cast<std::ptrdiff_t>(place));
    ::close(over.result);
    return {over.job, wait_for(over.process), over.text};
}

}  // namespace iocache::tools
