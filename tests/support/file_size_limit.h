// While it lives, no file of this process grows beyond a size: a write behind it fails, as on a full disk.
#ifndef IOCACHE_TESTS_SUPPORT_FILE_SIZE_LIMIT_H
#define IOCACHE_TESTS_SUPPORT_FILE_SIZE_LIMIT_H

#include <csignal>
#include <cstddef>

#include <sys/resource.h>

namespace iocache_test {

class file_size_limit {
public:
    explicit file_size_limit(size_t most_bytes)
    {
        handler_ = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limited{most_bytes, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~file_size_limit()
    {
        lift();
        std::signal(SIGXFSZ, handler_);
    }
    file_size_limit(const file_size_limit&) = delete;
    file_size_limit& operator=(const file_size_limit&) = delete;

    void lift() const { setrlimit(RLIMIT_FSIZE, &before_); }

private:
    rlimit before_ = {};
    void (*handler_)(int) = nullptr;
};

}  // namespace iocache_test

#endif
