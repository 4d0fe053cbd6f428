// A host that does what a test tells it and writes down what it was asked, in place of the reference host's workers
// and configuration.
#ifndef IOCACHE_TESTS_SETUP_OWN_HOST_H
#define IOCACHE_TESTS_SETUP_OWN_HOST_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <iocache/iocache.h>

namespace iocache_test {

struct own_host {
    std::map<int32_t, int32_t> numbers;  // configured items
    int32_t processors = 3;
    std::optional<int32_t> granted;  // what MP_set_nr_procs grants; without it what was asked for
    int32_t init_result = 0;
    int32_t workers = 1;              // what MP_get_nr_procs answers
    std::vector<std::string> events;  // calls, in order
    void* lock_defined_at = nullptr;
    void* lock_freed = nullptr;
};

own_host& the_host();

}  // namespace iocache_test

#endif
