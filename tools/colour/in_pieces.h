// Work on a long row of things that do not depend on each other, done by all processors at once.
#pragma once

#include <cstddef>
#include <functional>

namespace iocache::tools {

// Calls `work` for pieces of at most `piece` things that together are things 0 to `count` - 1: in the calling thread and
// in as many more as there are processors and pieces. Returns when all are done. `work` throws nothing.
void in_pieces(std::size_t count, std::size_t piece,
               const std::function<void(std::size_t first, std::size_t things)>& work);

}  // namespace iocache::tools
