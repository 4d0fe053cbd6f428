// Decoding, colour conversion and whatever is done with the result, all three at once: the first two
// have a thread each, the last runs in the calling thread, which alone may talk to the library.
//
// A fixed number of buffers goes round between them, so memory is bounded and the slowest stage sets
// the pace.
#pragma once

#include <functional>

#include "tools/colour/converter.h"
#include "tools/images/image_source.h"
#include "tools/pipeline/canvas_block.h"

namespace iocache::tools {

// Hands every pixel of the image, turned upright and in canvas colours, to `take`, block by block.
// Throws what a stage threw, the decoder's failure before any other, and `interrupted`.
void run_pipeline(image_source& source, const converter& colours, std::int32_t band_rows,
                  const std::function<void(const canvas_block&)>& take);

}  // namespace iocache::tools
