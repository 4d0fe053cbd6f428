// Putting a finished file in another one's place.
#pragma once

#include <cstdint>

namespace iocache::convert {

// The file `from` is brought to the disk and takes the place and name of `to`, on whatever file systems they lie. At every
// moment either the old or the complete new file has the name. 0 or -255; then `to` is as it was and `from` may still be there.
int32_t replace_file(const char* from, const char* to);

}  // namespace iocache::convert
