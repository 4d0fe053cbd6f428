// What all kinds of image files share: telling them apart, and sizes.
#include "tools/images/image_source.h"

#include <algorithm>

#include <fmt/format.h>

#include "tools/failure.h"
#include "tools/images/signature.h"

namespace iocache::tools {

rectangle image_source::next_rows(std::int32_t first_row) const
{
    const std::size_t row_bytes = static_cast<std::size_t>(description_.width) * description_.layout.pixel_bytes();
    const auto rows = static_cast<std::int32_t>(std::max<std::size_t>(1, block_bytes / row_bytes));
    return {0, first_row, description_.width, std::min(rows, description_.height - first_row)};
}

void set_size(image_description& description, const std::string& path, std::uint64_t width, std::uint64_t height)
{
    if (width == 0 || height == 0) throw failure(exit_code::unsupported, path + ": the image is empty");
    if (width > longest_side || height > longest_side) {
        throw failure(
            exit_code::no_room,
            fmt::format("{}: would not fit: the image is {} x {} pixels, and a canvas has at most {} on a side", path,
                        width, height, longest_side));
    }
    description.width = static_cast<std::int32_t>(width);
    description.height = static_cast<std::int32_t>(height);
}

std::unique_ptr<image_source> open_image(const std::string& path, const open_image_options& options)
{
    switch (sort_of_file(path)) {
        case image_sort::jpeg:
            return open_jpeg(path, options);
        case image_sort::png:
            return open_png(path, options);
        case image_sort::tiff:
            return open_tiff(path);
        case image_sort::none:
            break;
    }
    if (auto blocks = open_block_file(path)) return blocks;
    throw failure(exit_code::unsupported, path + ": not a TIFF, JPEG or PNG image, and no old file in blocks");
}

}  // namespace iocache::tools
