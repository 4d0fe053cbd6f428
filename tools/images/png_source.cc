// PNG files of every colour type and depth, decoded to grey or RGB of 8 or 16 bits, with alpha where
// the file has it (also as transparent colours).
//
// An interlaced file brings the picture in seven passes, each finer than the one before: it is put
// together in a scratch file first.
#include <bit>
#include <cstring>
#include <memory>

#include <png.h>

#include "tools/file.h"
#include "tools/images/exif.h"
#include "tools/images/image_source.h"
#include "tools/images/png_failure.h"
#include "tools/scratch_file.h"

namespace iocache::tools {

namespace {

class png_source final : public image_source {
public:
    png_source(const std::string& path, const open_image_options& options)
        : path_(path),
          scratch_folder_(options.scratch_folder),
          file_(open_input(path))
    {
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, &failure_, png_failure::leave, png_failure::ignore);
        if (png_ == nullptr) throw std::bad_alloc();
        try {
            read_header();
        } catch (...) {
            png_destroy_read_struct(&png_, &info_, nullptr);
            throw;
        }
    }

    ~png_source() override { png_destroy_read_struct(&png_, &info_, nullptr); }

    bool read(image_block& block) override
    {
        if (next_row_ == description_.height) return false;
        if (next_row_ == 0 && passes_ > 1) put_together();
        block.place = next_rows(next_row_);
        block.pixels.resize(row_bytes_ * static_cast<std::size_t>(block.place.height));
        if (passes_ > 1) {
            const auto rows = together_->bytes().subspan(row_bytes_ * static_cast<std::size_t>(next_row_));
            std::memcpy(block.pixels.data(), rows.data(), block.pixels.size());
            together_->walked(block.pixels.size());
        } else {
            read_rows(block);
        }
        next_row_ += block.place.height;
        return true;
    }

private:
    std::string path_;
    std::string scratch_folder_;
    file_stream file_;
    png_failure failure_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    int passes_ = 1;
    std::size_t row_bytes_ = 0;
    std::int32_t next_row_ = 0;
    std::unique_ptr<scratch_file> together_;

    void read_header()
    {
        failure_.guard(path_, [this] {
            info_ = png_create_info_struct(png_);
            png_init_io(png_, file_.get());
            png_read_info(png_, info_);
        });
        set_size(description_, path_, png_get_image_width(png_, info_), png_get_image_height(png_, info_));
        choose_layout();
        read_profile();
        read_orientation();
        failure_.guard(path_, [this] {
            png_set_expand(png_);  // palettes, few bits and transparent colours to whole samples and alpha
            if constexpr (std::endian::native == std::endian::little) png_set_swap(png_);
            passes_ = png_set_interlace_handling(png_);
            png_read_update_info(png_, info_);
            row_bytes_ = png_get_rowbytes(png_, info_);
        });
        if (row_bytes_ != static_cast<std::size_t>(description_.width) * description_.layout.pixel_bytes()) {
            throw failure(exit_code::unsupported, path_ + ": a PNG of this sort is not supported");
        }
    }

    void choose_layout()
    {
        const int type = png_get_color_type(png_, info_);
        const bool transparent = png_get_valid(png_, info_, PNG_INFO_tRNS) != 0;
        pixel_layout& layout = description_.layout;
        layout.model = (type & PNG_COLOR_MASK_COLOR) != 0 ? colour_model::rgb : colour_model::grey;
        layout.sample_bytes = png_get_bit_depth(png_, info_) == 16 ? 2 : 1;
        if ((type & PNG_COLOR_MASK_ALPHA) != 0 || transparent) {
            layout.extra_samples = 1;
            layout.alpha_sample = 0;
        }
    }

    void read_profile()
    {
        png_charp name = nullptr;
        png_bytep profile = nullptr;
        png_uint_32 bytes = 0;
        int compression = 0;
        failure_.guard(path_, [&] { png_get_iCCP(png_, info_, &name, &compression, &profile, &bytes); });
        if (profile != nullptr) description_.profile.assign(profile, profile + bytes);
    }

    void read_orientation()
    {
        png_bytep block = nullptr;
        png_uint_32 bytes = 0;
        failure_.guard(path_, [&] { png_get_eXIf_1(png_, info_, &bytes, &block); });
        if (block != nullptr) description_.orientation = exif_orientation({block, bytes});
    }

    void read_rows(image_block& block)
    {
        for (std::int32_t row = 0; row < block.place.height; ++row) {
            std::uint8_t* const target = block.pixels.data() + row_bytes_ * static_cast<std::size_t>(row);
            failure_.guard(path_, [this, target] { png_read_row(png_, target, nullptr); });
        }
    }

    void put_together()
    {
        together_ =
            std::make_unique<scratch_file>(scratch_folder_, row_bytes_ * static_cast<std::size_t>(description_.height));
        for (int pass = 0; pass < passes_; ++pass) {
            for (std::int32_t row = 0; row < description_.height; ++row) {
                std::uint8_t* const target = together_->bytes().data() + row_bytes_ * static_cast<std::size_t>(row);
                failure_.guard(path_, [this, target] { png_read_row(png_, target, nullptr); });
                together_->walked(row_bytes_);
            }
        }
        together_->forget_pages();
    }
};

}  // namespace

std::unique_ptr<image_source> open_png(const std::string& path, const open_image_options& options)
{
    return std::make_unique<png_source>(path, options);
}

}  // namespace iocache::tools
