// iocache export: a canvas, or a part of it, becomes an image file: a TIFF that holds every byte of it,
// or a PNG that shows what it looks like.
#include <algorithm>
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "tools/canvas/open_canvas.h"
#include "tools/canvas/session.h"
#include "tools/colour/profile.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/file.h"
#include "tools/images/image_sink.h"
#include "tools/interrupt.h"
#include "tools/output_file.h"
#include "tools/progress.h"
#include "tools/statistics.h"

namespace iocache::tools {

namespace {

enum class image_format { tiff, png };

struct export_options {
    std::string canvas;
    std::string image;
    std::optional<rectangle> region;
    tiff_compression compression = tiff_compression::none;
    bool force = false;
    colour_options colour;
    run_options run;
};

image_format format_of(const std::string& path)
{
    const std::string ending = ending_of(path);
    if (ending == ".tif" || ending == ".tiff") return image_format::tiff;
    if (ending == ".png") return image_format::png;
    throw CLI::ValidationError("IMAGE", "must end in .tif, .tiff or .png: " + path);
}

void check_room(const std::string& path, std::uint64_t wanted)
{
    const std::int64_t free = free_bytes(folder_of(path));
    if (free >= 0 && wanted > static_cast<std::uint64_t>(free)) {
        throw failure(exit_code::no_room,
                      fmt::format("{}: would not fit: the image needs {} bytes, and {} are free", path, wanted, free));
    }
}

// Colour and alpha side by side, in rows of `row_pixels` pixels, which may be longer than the block's.
void interleave(const canvas_block& block, std::size_t row_pixels, std::span<std::uint8_t> target)
{
    const auto width = static_cast<std::size_t>(block.place.width);
    const std::size_t bytes = block.colour.size() / block.place.pixels();
    const std::size_t pixel_bytes = bytes + (block.alpha.empty() ? 0 : 1);
    for (std::size_t row = 0; row < static_cast<std::size_t>(block.place.height); ++row) {
        std::uint8_t* to = target.data() + row * row_pixels * pixel_bytes;
        for (std::size_t pixel = row * width; pixel < (row + 1) * width; ++pixel) {
            to = std::copy_n(block.colour.data() + pixel * bytes, bytes, to);
            if (!block.alpha.empty()) *to++ = block.alpha[pixel];
        }
    }
}

class exporter {
public:
    exporter(const open_canvas& canvas, const rectangle& part, const export_options& options)
        : canvas_(canvas),
          part_(part),
          options_(options),
          profile_(colour_profile::from_file(options.colour.profile, colour_model::cmyk)),
          bar_("export", static_cast<std::int64_t>(part.pixels()))
    {
        image_.width = part.width;
        image_.height = part.height;
        image_.alpha = is_picture();
    }

    void write_tiff(output_file& output)
    {
        if (is_picture()) {
            image_.model = colour_model::cmyk;
            image_.profile = profile_.bytes();
        }
        if (options_.compression == tiff_compression::none) check_room(options_.image, tiff_bytes(image_));
        tiff_sink sink(output.working_path(), image_, options_.compression);
        output.made();
        constexpr std::int32_t side = tiff_sink::tile_side;
        std::vector<std::uint8_t> tile(std::size_t{side} * side * image_.pixel_bytes());
        for (std::int32_t y = 0; y < part_.height; y += side) {
            for (std::int32_t x = 0; x < part_.width; x += side) {
                read({part_.x + x, part_.y + y, std::min(side, part_.width - x), std::min(side, part_.height - y)});
                // Beyond the image's edge a tile holds zeros.
                if (block_.place.width < side || block_.place.height < side) std::ranges::fill(tile, std::uint8_t{0});
                interleave(block_, side, tile);
                sink.write_tile(x, y, tile);
            }
        }
        sink.finish();
    }

    void write_png(output_file& output)
    {
        if (is_picture()) image_.model = colour_model::rgb;
        png_sink sink(output.working_path(), image_);
        output.made();
        const std::unique_ptr<const colour_transform> proof =
            is_picture() ? std::make_unique<const colour_transform>(profile_, TYPE_CMYK_8, colour_profile::srgb(),
                                                                    TYPE_RGB_8, options_.colour.intent)
                         : nullptr;
        const std::int32_t rows = band_rows(part_.width, canvas_.kind());
        for (std::int32_t y = 0; y < part_.height; y += rows) {
            read({part_.x, part_.y + y, part_.width, std::min(rows, part_.height - y)});
            if (proof) show(*proof);
            pixels_.resize(block_.place.pixels() * image_.pixel_bytes());
            interleave(block_, static_cast<std::size_t>(part_.width), pixels_);
            sink.write_rows(pixels_);
        }
        sink.finish();
    }

private:
    const open_canvas& canvas_;
    rectangle part_;
    const export_options& options_;
    colour_profile profile_;
    sink_description image_;
    progress bar_;
    canvas_block block_;
    std::vector<std::uint8_t> shown_;
    std::vector<std::uint8_t> pixels_;

    [[nodiscard]] bool is_picture() const { return canvas_.kind() == canvas_kind::picture; }

    void read(const rectangle& place)
    {
        check_interrupt();
        block_.place = place;
        canvas_.read(block_);
        bar_.advance(static_cast<std::int64_t>(place.pixels()));
    }

    // The block's colours become those of the screen.
    void show(const colour_transform& proof)
    {
        const std::size_t pixels = block_.place.pixels();
        shown_.resize(pixels * static_cast<std::size_t>(colour_samples(colour_model::rgb)));
        proof.apply(block_.colour, shown_, pixels);
        block_.colour.swap(shown_);
    }
};

exit_code run_export(const export_options& options)
{
    statistics costs(options.run.statistics);
    const image_format format = format_of(options.image);
    if (format == image_format::png && options.compression != tiff_compression::none) {
        throw CLI::ValidationError("--compress", "is for TIFF only: " + options.image);
    }
    refuse_same_file(options.canvas, options.image);
    output_file output(options.image, options.force);
    const session running(options.run.session);
    const open_canvas canvas = open_canvas::open(options.canvas);
    {
        exporter work(canvas, chosen_part(options.region, canvas.bounds()), options);
        if (format == image_format::tiff) {
            work.write_tiff(output);
        } else {
            work.write_png(output);
        }
    }
    output.commit();
    costs.note_cache(canvas, running);
    costs.print();
    return exit_code::done;
}

}  // namespace

void add_export(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<export_options>();
    CLI::App* const command =
        app.add_subcommand("export", "Write a canvas as TIFF (every byte of it) or as PNG (a proof in sRGB)");
    command->add_option("CANVAS", options->canvas, "The canvas")->required();
    command->add_option("IMAGE", options->image, "The image to make; .tif, .tiff or .png")->required();
    add_region(*command, options->region, "Export this part of the canvas only");
    add_choice<tiff_compression>(
        *command, "--compress", options->compression,
        {{"none", tiff_compression::none}, {"lzw", tiff_compression::lzw}, {"deflate", tiff_compression::deflate}},
        "Compression of a TIFF: none (default), lzw or deflate")
        ->type_name("HOW");
    command->add_flag("--force", options->force, "Replace an existing file");
    options->colour.add_to(*command);
    options->run.add_to(*command);
    command->callback([options, &chosen] { chosen = [options] { return run_export(*options); }; });
}

}  // namespace iocache::tools
