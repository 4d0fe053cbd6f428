// How immediate a stroke is on a large canvas, measured without a window.
#ifndef IOCACHE_EXAMPLES_PAINT_MEASURE_H
#define IOCACHE_EXAMPLES_PAINT_MEASURE_H

#include <cstdint>
#include <string>

namespace paint {

// Paints `stamps` stamps, 64 pixels across, on a new picture of 20,000 x 20,000 in the folder, twice along the same way: first
// over tiles that do not exist yet, then, with an emptied cache, over tiles that come from the file. Prints the time
// from each pointer event to the updated reduced image. Returns false when a stamp could not be painted.
bool measure_stamps(const std::string& folder, int32_t stamps);

}  // namespace paint

#endif
