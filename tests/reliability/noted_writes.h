// Every tile that the library writes back passes through the program that these lines are part of, which notes it.
#ifndef IOCACHE_TESTS_RELIABILITY_NOTED_WRITES_H
#define IOCACHE_TESTS_RELIABILITY_NOTED_WRITES_H

#include "tests/reliability/oracle.h"

namespace iocache_test {

// From now on; null: nothing is noted.
void note_writes_in(oracle* notes);

}  // namespace iocache_test

#endif
