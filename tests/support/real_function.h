// For functions of a test program that stand in the place of the library's or the system's.
#ifndef IOCACHE_TESTS_SUPPORT_REAL_FUNCTION_H
#define IOCACHE_TESTS_SUPPORT_REAL_FUNCTION_H

#include <dlfcn.h>

namespace iocache_test {

// The function of this name that would be called without this program's own one. Ask once, into a static variable.
template <class Function> Function* real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace iocache_test

#endif
