// All rows of the picture in order, through the library: what W5 times and W10 weighs.
#pragma once

#include "bench/support/measure.h"
#include "bench/support/picture.h"

namespace iocache_bench {

double get_all_rows(const open_picture& picture, line& pixels);

}  // namespace iocache_bench
