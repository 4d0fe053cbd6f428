// The pool of workers. The thread that starts a run is worker 0; the others are threads that wait for the next run:
// they spin for a moment, because runs mostly follow each other closely, and then sleep.
//
// Two words carry everything between the threads. "starts" counts the runs, and its change starts the workers. "meeting"
// says how many workers are still in the run and how many of these stand at the barrier; a run is over when nobody is
// left in it. Functions, arguments and the number of workers are written between runs only, by the thread that runs.
#include "host/iocache_host.h"
#include "iocache/platform/waiting.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include <pthread.h>

namespace {

using iocache::platform::waited_word;

constexpr int32_t most_workers = IOCACHE_HOST_MOST_WORKERS;
constexpr std::chrono::microseconds spin_limit{50};

// Where the workers of a run meet. One word: bits 0-7 how many stand at the barrier, bits 8-15 how many are in the run,
// the rest numbers the meetings.
class meeting_place {
public:
    // Before a run.
    void expect(int32_t workers) { word_.value().store(workers * in_run); }

    // Waits until everyone who is still in the run stands here too.
    void meet(std::chrono::nanoseconds spin)
    {
        const int32_t before = change([](int32_t word) { return at_barrier(word + 1); });
        wait_until([=](int32_t word) { return number(word) != number(before); }, spin);
    }
    // Who leaves is not waited for any more.
    void leave()
    {
        change([](int32_t word) { return at_barrier(word - in_run); });
    }
    // Waits until all have left.
    void wait_for_all(std::chrono::nanoseconds spin)
    {
        wait_until([](int32_t word) { return left_in_run(word) == 0; }, spin);
    }

private:
    static constexpr int32_t in_run = 0x100;
    static constexpr int32_t one_meeting = 0x10000;
    static constexpr int32_t numbers = 0x4000;  // of meetings, before they start again

    static int32_t standing(int32_t word) { return word % in_run; }
    static int32_t left_in_run(int32_t word) { return word % one_meeting / in_run; }
    static int32_t number(int32_t word) { return word / one_meeting; }

    // The same word, with the next meeting begun if everyone has come to this one.
    static int32_t at_barrier(int32_t word)
    {
        if (standing(word) < left_in_run(word)) return word;
        return (number(word) + 1) % numbers * one_meeting + left_in_run(word) * in_run;
    }

    // Changes the word and wakes whoever waits. Returns it as it was.
    template <class Step> int32_t change(Step step)
    {
        int32_t seen = word_.value().load(std::memory_order_relaxed);
        while (!word_.value().compare_exchange_weak(seen, step(seen))) {}
        word_.wake_all();
        return seen;
    }
    template <class Condition> void wait_until(Condition fulfilled, std::chrono::nanoseconds spin)
    {
        for (;;) {
            const int32_t seen = word_.value().load(std::memory_order_acquire);
            if (fulfilled(seen)) return;
            word_.wait_while(seen, spin);
        }
    }

    waited_word word_{0};
};

struct task {
    MP_function function = nullptr;
    void* argument = nullptr;
};

// How many forks lie between this process and the one that loaded the host: whose threads a pool has.
std::atomic<int32_t> forks{0};
[[maybe_unused]] const int registered = pthread_atfork(nullptr, nullptr, [] { forks.fetch_add(1); });

// True on a thread while it is running a worker's function.
thread_local bool is_working = false;

// The threads of one number of workers, from start to end.
class worker_pool {
public:
    // Throws std::system_error when the system has no more threads.
    worker_pool(int32_t workers, const std::array<task, most_workers>& tasks)
        : workers_(workers),
          tasks_(tasks),
          spin_(workers <= iocache::platform::usable_processors() ? spin_limit : std::chrono::microseconds{0})
    {
        threads_.reserve(static_cast<std::size_t>(workers));
        try {
            for (int32_t worker = 1; worker < workers; ++worker) start_thread(worker);
        } catch (...) {
            end_threads();
            throw;
        }
    }
    ~worker_pool() { end_threads(); }
    worker_pool(const worker_pool&) = delete;
    worker_pool& operator=(const worker_pool&) = delete;

    // The threads belong to the process that started them; its forked children have none.
    [[nodiscard]] bool is_mine() const { return forks_at_start_ == forks.load(std::memory_order_relaxed); }

    void run()
    {
        meeting_.expect(workers_);
        if (workers_ > 1) {
            starts_.value().fetch_add(1);
            starts_.wake_all();
        }
        work(0);
        meeting_.wait_for_all(spin_);
    }
    void meet() { meeting_.meet(spin_); }

private:
    void start_thread(int32_t worker)
    {
        // A signal is for the program's own threads.
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        try {
            threads_.emplace_back([this, worker] { work_until_the_end(worker); });
        } catch (...) {
            pthread_sigmask(SIG_SETMASK, &before, nullptr);
            throw;
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }
    void end_threads()
    {
        ending_.store(true);
        starts_.value().fetch_add(1);
        starts_.wake_all();
        for (std::thread& thread : threads_) thread.join();
    }
    void work_until_the_end(int32_t worker)
    {
        pthread_setname_np(pthread_self(), "iocache-worker");
        // The first run may be long in coming, and the program that starts needs its processors.
        constexpr std::chrono::nanoseconds no_spin{0};
        for (uint32_t runs_seen = 0;; ++runs_seen) {
            starts_.wait_while(static_cast<int32_t>(runs_seen), runs_seen == 0 ? no_spin : spin_);
            if (ending_.load()) return;
            work(worker);
        }
    }
    void work(int32_t worker)
    {
        const task mine = tasks_[static_cast<std::size_t>(worker)];
        is_working = true;
        if (mine.function) mine.function(mine.argument);
        is_working = false;
        meeting_.leave();
    }

    const int32_t workers_;
    const std::array<task, most_workers>& tasks_;
    const std::chrono::nanoseconds spin_;  // with more workers than processors, spinning would only be in the way
    const int32_t forks_at_start_ = forks.load();
    std::atomic<bool> ending_{false};
    waited_word starts_{0};
    meeting_place meeting_;
    std::vector<std::thread> threads_;
};

std::array<task, most_workers> tasks;
int32_t workers_wanted = 1;

// Not destroyed at the program's end, when its threads may still be running; MP_exit ends them.
worker_pool* pool = nullptr;

bool start_pool()
{
    try {
        pool = new worker_pool{workers_wanted, tasks};
    } catch (const std::system_error&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void end_pool()
{
    // What a child inherited has no threads to wait for.
    const std::unique_ptr<worker_pool> ended{pool && pool->is_mine() ? pool : nullptr};
    pool = nullptr;
}

bool is_worker(int32_t worker)
{
    return worker >= 0 && worker < most_workers;
}

}  // namespace

int32_t m_get_numprocs()
{
    return std::clamp(iocache::platform::usable_processors(), 1, most_workers);
}

int32_t MP_set_nr_procs(int32_t count)
{
    const int32_t before = workers_wanted;
    workers_wanted = std::clamp(count, 1, most_workers);
    if (!pool || workers_wanted == before) return workers_wanted;
    // Workers that are already there are replaced by as many as are wanted now.
    end_pool();
    if (start_pool()) return workers_wanted;
    workers_wanted = 1;  // needs no thread
    start_pool();
    return workers_wanted;
}

int32_t MP_get_nr_procs()
{
    return workers_wanted;
}

int32_t MP_init()
{
    if (pool && pool->is_mine()) return 0;
    pool = nullptr;
    return start_pool() ? 0 : -1;
}

void MP_exit()
{
    end_pool();
}

void MP_def_proc_fun(int32_t worker, MP_function function)
{
    if (is_worker(worker)) tasks[static_cast<std::size_t>(worker)].function = function;
}

MP_function MP_get_proc_fun()
{
    return tasks[0].function;
}

void MP_def_proc_args(int32_t worker, void* args)
{
    if (is_worker(worker)) tasks[static_cast<std::size_t>(worker)].argument = args;
}

int32_t MP_run_procs()
{
    // A worker cannot start the run that it is part of.
    if (!pool || !pool->is_mine() || is_working) return -1;
    pool->run();
    return 0;
}

void MP_barrier()
{
    if (is_working) pool->meet();
}
