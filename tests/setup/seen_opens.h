// Every call of open in this program passes here first: a test may look, act before it, or let it fail.
#ifndef IOCACHE_TESTS_SETUP_SEEN_OPENS_H
#define IOCACHE_TESTS_SETUP_SEEN_OPENS_H

#include <functional>
#include <string>

namespace iocache_test {

// Answers 0 to let the call go on, else the errno with which it fails. Empty: every call goes on.
extern std::function<int(const std::string& path, int flags)> on_open;

}  // namespace iocache_test

#endif
