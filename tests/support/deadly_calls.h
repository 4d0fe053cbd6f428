// A process that a SIGKILL ends at a chosen call of its own that changes files. The calls are counted from 1, in the
// process that chose; its children inherit number and count. With it dies its whole process group, so that a program
// that works in several processes ends as it does when it is killed as a whole.
//
// Either linked into a test program, whose child calls die_at(), or loaded before a whole program: then the
// environment variable IOCACHE_TEST_DIE_AT holds the number. With IOCACHE_TEST_NO_LINKS in it no file can have two names.
#ifndef IOCACHE_TESTS_SUPPORT_DEADLY_CALLS_H
#define IOCACHE_TESTS_SUPPORT_DEADLY_CALLS_H

namespace iocache_test {

// From now on the calls of this process count, and the one of this number is its last. Requires a process group of
// its own.
void die_at(int call);

}  // namespace iocache_test

#endif
