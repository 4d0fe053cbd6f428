// Old files in blocks of 64 x 64 pixels, by the runs of blocks that lie side by side. The numbers of a picture are
// those of a CMYK canvas; the palette and the icon are not read.
#include <algorithm>
#include <cstring>
#include <optional>

#include "iocache/convert/block_file.h"
#include "tools/failure.h"
#include "tools/file.h"
#include "tools/images/image_source.h"
#include "tools/old/old_file.h"

namespace iocache::tools {

namespace {

using convert::block_side;

class block_source final : public image_source {
public:
    block_source(std::string path, const convert::block_image& image)
        : path_(std::move(path)),
          file_(open_input(path_)),
          image_(image)
    {
        description_.width = image.x_max + 1;
        description_.height = image.y_max + 1;
        description_.layout.model = image.is_picture ? colour_model::cmyk : colour_model::grey;
        description_.in_rows = false;
        if (fseeko(file_.get(), static_cast<off_t>(image.blocks_begin()), SEEK_SET) != 0) {
            throw system_failure(path_, "cannot read");
        }
        const std::size_t blocks = std::max<std::size_t>(1, block_bytes / bytes_of_block());
        run_.resize(blocks * bytes_of_block());
    }

    bool read(image_block& block) override
    {
        if (y_ >= description_.height) return false;
        const std::int32_t blocks_left = (description_.width - x_ + block_side - 1) / block_side;
        const auto blocks = std::min(blocks_left, static_cast<std::int32_t>(run_.size() / bytes_of_block()));
        read_run(static_cast<std::size_t>(blocks) * bytes_of_block());
        block.place = {x_, y_, std::min(blocks * block_side, description_.width - x_),
                       std::min(block_side, description_.height - y_)};
        block.pixels.resize(block.place.pixels() * pixel_bytes());
        for (std::int32_t i = 0; i < blocks; ++i) take_block(i, block);
        x_ += block.place.width;
        if (x_ < description_.width) return true;
        x_ = 0;
        y_ += block_side;
        return true;
    }

private:
    std::string path_;
    file_stream file_;
    convert::block_image image_;
    std::int32_t x_ = 0;  // of the block that follows in the file
    std::int32_t y_ = 0;
    std::vector<std::uint8_t> run_;  // blocks as they are in the file

    [[nodiscard]] std::size_t pixel_bytes() const { return static_cast<std::size_t>(image_.pixel_bytes()); }
    [[nodiscard]] std::size_t bytes_of_block() const { return static_cast<std::size_t>(image_.block_bytes()); }

    void read_run(std::size_t bytes)
    {
        if (std::fread(run_.data(), 1, bytes, file_.get()) == bytes) return;
        if (std::ferror(file_.get()) != 0) throw system_failure(path_, "cannot read");
        throw failure(exit_code::not_readable, path_ + ": cannot read: the file ends too early");
    }

    // The pixels of block number `i` of the run that lie within the image.
    void take_block(std::int32_t i, image_block& target)
    {
        const std::size_t left = static_cast<std::size_t>(i) * block_side;
        const std::size_t line_bytes = block_side * pixel_bytes();
        const std::size_t row_bytes = static_cast<std::size_t>(target.place.width) * pixel_bytes();
        const std::size_t wanted = std::min(line_bytes, row_bytes - left * pixel_bytes());
        const std::span<std::uint8_t> block =
            std::span(run_).subspan(static_cast<std::size_t>(i) * bytes_of_block(), bytes_of_block());
        convert::copy_block(image_, block, block.data(), static_cast<std::int32_t>(line_bytes));
        for (std::size_t row = 0; row < static_cast<std::size_t>(target.place.height); ++row) {
            std::memcpy(target.pixels.data() + row * row_bytes + left * pixel_bytes(), block.data() + row * line_bytes,
                        wanted);
        }
    }
};

}  // namespace

std::unique_ptr<image_source> open_block_file(const std::string& path)
{
    const std::optional<convert::block_image> image = find_block_image(path);
    if (!image) return nullptr;
    return std::make_unique<block_source>(path, *image);
}

}  // namespace iocache::tools
