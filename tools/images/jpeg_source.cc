// JPEG files: grey, RGB or YCbCr (decoded to RGB), CMYK or YCCK (decoded to CMYK), baseline and
// progressive.
//
// Adobe's programs store CMYK with 0 for full ink and leave their mark (APP14) in the file; other
// programs store it with 255 for full ink and leave none.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include <jpeglib.h>

#include "tools/file.h"
#include "tools/images/exif.h"
#include "tools/images/image_source.h"
#include "tools/images/jpeg_coefficients.h"
#include "tools/images/jpeg_failure.h"

namespace iocache::tools {

namespace {

constexpr int exif_marker = JPEG_APP0 + 1;
constexpr int profile_marker = JPEG_APP0 + 2;
constexpr unsigned whole_marker = 0xFFFF;
constexpr std::string_view exif_name{"Exif\0\0", 6};

class jpeg_source final : public image_source {
public:
    jpeg_source(const std::string& path, const open_image_options& options) : path_(path), file_(open_input(path))
    {
        decoder_.err = failure_.install();
        failure_.guard(path_, [this] { jpeg_create_decompress(&decoder_); });
        try {
            read_header(options);
        } catch (...) {
            jpeg_destroy_decompress(&decoder_);
            throw;
        }
    }

    ~jpeg_source() override { jpeg_destroy_decompress(&decoder_); }

    bool read(image_block& block) override
    {
        if (next_row_ == description_.height) return false;
        if (next_row_ == 0) start();
        block.place = next_rows(next_row_);
        const std::size_t row_bytes = static_cast<std::size_t>(description_.width) * description_.layout.pixel_bytes();
        block.pixels.resize(row_bytes * static_cast<std::size_t>(block.place.height));
        for (std::int32_t row = 0; row < block.place.height; ++row) {
            std::uint8_t* const target = block.pixels.data() + row_bytes * static_cast<std::size_t>(row);
            guard([this, target] {
                JSAMPROW line = target;
                jpeg_read_scanlines(&decoder_, &line, 1);
            });
        }
        next_row_ += block.place.height;
        // Reads up to the end mark: a file that lacks it has lost its tail.
        if (next_row_ == description_.height) guard([this] { jpeg_finish_decompress(&decoder_); });
        return true;
    }

private:
    std::string path_;
    file_stream file_;
    jpeg_failure failure_;
    jpeg_coefficients coefficients_;
    jpeg_decompress_struct decoder_{};
    std::int32_t next_row_ = 0;

    template <class Call> void guard(const Call& call)
    {
        try {
            failure_.guard(path_, call);
        } catch (const failure&) {
            coefficients_.rethrow();  // the better reason, if there is one
            throw;
        }
    }

    void read_header(const open_image_options& options)
    {
        coefficients_.install(decoder_, options.scratch_folder);
        guard([this] {
            jpeg_stdio_src(&decoder_, file_.get());
            jpeg_save_markers(&decoder_, exif_marker, whole_marker);
            jpeg_save_markers(&decoder_, profile_marker, whole_marker);
            jpeg_read_header(&decoder_, TRUE);
        });
        set_size(description_, path_, decoder_.image_width, decoder_.image_height);
        choose_layout(options.polarity);
        read_profile();
        read_orientation();
    }

    void choose_layout(cmyk_polarity polarity)
    {
        switch (decoder_.num_components) {
            case 1:
                decoder_.out_color_space = JCS_GRAYSCALE;
                description_.layout.model = colour_model::grey;
                return;
            case 3:
                decoder_.out_color_space = JCS_RGB;
                description_.layout.model = colour_model::rgb;
                return;
            case 4:
                decoder_.out_color_space = JCS_CMYK;  // from YCCK too
                description_.layout.model = colour_model::cmyk;
                description_.layout.inverted = polarity == cmyk_polarity::automatic
                                                   ? decoder_.saw_Adobe_marker != FALSE
                                                   : polarity == cmyk_polarity::inverted;
                return;
            default:
                throw failure(exit_code::unsupported, path_ + ": a JPEG of this many components is not supported");
        }
    }

    void read_profile()
    {
        JOCTET* profile = nullptr;
        unsigned bytes = 0;
        boolean found = FALSE;
        guard([&] { found = jpeg_read_icc_profile(&decoder_, &profile, &bytes); });
        if (found == FALSE) return;
        const std::unique_ptr<JOCTET, decltype(&std::free)> owned(profile, &std::free);
        description_.profile.assign(profile, profile + bytes);
    }

    void read_orientation()
    {
        for (const jpeg_marker_struct* marker = decoder_.marker_list; marker != nullptr; marker = marker->next) {
            const std::span<const std::uint8_t> data(marker->data, marker->data_length);
            if (marker->marker != exif_marker || data.size() < exif_name.size()) continue;
            if (std::memcmp(data.data(), exif_name.data(), exif_name.size()) != 0) continue;
            description_.orientation = exif_orientation(data.subspan(exif_name.size()));
            return;
        }
    }

    void start()
    {
        guard([this] { jpeg_start_decompress(&decoder_); });
    }
};

}  // namespace

std::unique_ptr<image_source> open_jpeg(const std::string& path, const open_image_options& options)
{
    return std::make_unique<jpeg_source>(path, options);
}

}  // namespace iocache::tools
