// Decodes an image as `iocache import` does: TIFF, JPEG, PNG, or a file of the older block format. The input is the
// whole file. A file that cannot be decoded has to be refused with the tool's own kind of failure.
#include <tiffio.h>

#include "fuzz/input_file.h"
#include "tools/failure.h"
#include "tools/images/image_source.h"

namespace {

using namespace iocache_fuzz;
using namespace iocache::tools;

// An image this large in a small file is one that was made to be: reading all of it only takes time.
constexpr std::int64_t most_pixels = 1 << 22;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const scratch_folder folder;
    static const std::string path = folder.file("image");
    write_file(path, {data, size});
    try {
        const auto source = open_image(path, {folder.path(), cmyk_polarity::automatic});
        const image_description& image = source->description();
        if (std::int64_t{image.width} * image.height > most_pixels) return 0;
        image_block block;
        while (source->read(block)) {}
    } catch (const failure&) {
        // As it should be.
    }
    return 0;
}
