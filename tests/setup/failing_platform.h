// A platform that fails where a test wants it to, and writes down what was made and what was freed. Everything else
// goes to the library's own services.
#ifndef IOCACHE_TESTS_SETUP_FAILING_PLATFORM_H
#define IOCACHE_TESTS_SETUP_FAILING_PLATFORM_H

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "iocache/platform/platform.h"

namespace iocache_test {

struct failing_platform {
    std::string failing;  // the object that cannot be made: "arena", "semaphore", "lock 1" to "lock 3", ...
    int error = 0;        // errno of that

    int locks_made = 0;
    std::map<const void*, std::string> objects;
    int32_t arena_descriptor = -1;  // when the arena was made
    void (*entry)(void*) = nullptr;
    uint32_t share_flags = 0;
    const void* argument = nullptr;

    std::optional<std::vector<cv_inventory>> inventory;  // without it the machine's own
    size_t inventory_position = 0;

    void add(const std::string& event);
    std::vector<std::string> events();
    void clear();

private:
    std::mutex guard_;  // the cache process adds its own end
    std::vector<std::string> events_;
};

failing_platform& the_platform();

}  // namespace iocache_test

#endif
