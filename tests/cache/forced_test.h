// A cache test with hooks: see hooks.h.
#ifndef IOCACHE_TESTS_CACHE_FORCED_TEST_H
#define IOCACHE_TESTS_CACHE_FORCED_TEST_H

#include "tests/cache/cache_test.h"
#include "tests/cache/hooks.h"

namespace iocache_test {

class forced_test : public cache_test {
protected:
    bool in_process_mode() const { return GetParam() == mode::process; }
    void TearDown() override
    {
        hooks::reset::clear();
        cv_disk_full_return(0);
        std::atomic_ref(cv_disk_full).store(0);
    }

private:
    hooks::reset hooks_;
};

}  // namespace iocache_test

#endif
