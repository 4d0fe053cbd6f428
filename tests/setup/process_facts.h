// What the system says about this process and about files.
#ifndef IOCACHE_TESTS_SETUP_PROCESS_FACTS_H
#define IOCACHE_TESTS_SETUP_PROCESS_FACTS_H

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace iocache_test {

inline int64_t entries_of(const std::string& folder)
{
    int64_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
    return count;
}
inline int64_t open_descriptors()
{
    return entries_of("/proc/self/fd");
}
// A sanitizer starts a thread of its own beside the first one that a program starts; that is over before anything counts.
inline int64_t running_threads()
{
    [[maybe_unused]] static const bool started = [] {
        std::thread([] {}).join();
        return true;
    }();
    return entries_of("/proc/self/task");
}
inline bool is_open(int descriptor)
{
    return fcntl(descriptor, F_GETFD) != -1;
}
inline bool exists(const std::string& path)
{
    struct stat facts = {};
    return lstat(path.c_str(), &facts) == 0;
}

// Whether a name is this beginning and six letters or digits that were put in the place of "XXXXXX".
inline bool is_unique_name(const std::string& name, const std::string& beginning)
{
    const std::string letters = name.size() == beginning.size() + 6 ? name.substr(beginning.size()) : "";
    const bool are_letters =
        std::all_of(letters.begin(), letters.end(), [](unsigned char c) { return std::isalnum(c) != 0; });
    return name.starts_with(beginning) && !letters.empty() && are_letters && letters != "XXXXXX";
}

inline mode_t file_mask()
{
    const mode_t mask = umask(0);
    umask(mask);
    return mask;
}

// Another file-creation mask for one scope.
class other_file_mask {
public:
    explicit other_file_mask(mode_t mask) : before_(umask(mask)) {}
    ~other_file_mask() { umask(before_); }
    other_file_mask(const other_file_mask&) = delete;
    other_file_mask& operator=(const other_file_mask&) = delete;

private:
    mode_t before_;
};

// A lower limit for one scope. The hard limit stays, so that nobody needs a privilege to raise it again.
class lower_limit {
public:
    lower_limit(__rlimit_resource_t resource, rlim_t limit) : resource_(resource)
    {
        getrlimit(resource_, &before_);
        const rlimit lowered{limit, before_.rlim_max};
        setrlimit(resource_, &lowered);
    }
    ~lower_limit() { setrlimit(resource_, &before_); }
    lower_limit(const lower_limit&) = delete;
    lower_limit& operator=(const lower_limit&) = delete;

private:
    __rlimit_resource_t resource_;
    rlimit before_{};
};

}  // namespace iocache_test

#endif
