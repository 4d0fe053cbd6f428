// iocache preview: what a canvas looks like, small or in part, as a PNG for the screen.
#include <memory>
#include <optional>

#include "tools/canvas/open_canvas.h"
#include "tools/canvas/reduced_image.h"
#include "tools/canvas/sampled_part.h"
#include "tools/canvas/session.h"
#include "tools/colour/profile.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/file.h"
#include "tools/images/image_sink.h"
#include "tools/output_file.h"
#include "tools/statistics.h"

namespace iocache::tools {

namespace {

struct preview_options {
    std::string canvas;
    std::string image;
    bool icon = false;
    bool reduced = false;     // also what is shown when nothing is chosen
    std::int32_t level = -1;  // none
    std::optional<rectangle> region;
    bool keep_alpha = false;
    bool force = false;
    colour_options colour;
    run_options run;
};

// Behind what is not opaque.
std::uint32_t board_grey(std::size_t x, std::size_t y)
{
    constexpr std::size_t side = 8;
    constexpr std::uint32_t light = 255;
    constexpr std::uint32_t dark = 204;
    return (x / side + y / side) % 2 == 0 ? light : dark;
}

// Canvas pixels into a PNG. Blocks come in whole rows, from the top.
class screen_writer {
public:
    screen_writer(const open_canvas& canvas, const preview_options& options, output_file& output)
        : kind_(canvas.kind()),
          keep_alpha_(options.keep_alpha && kind_ == canvas_kind::picture && !options.icon),
          proof_(colour_profile::from_file(options.colour.profile, colour_model::cmyk), TYPE_CMYK_8,
                 colour_profile::srgb(), TYPE_RGB_8, options.colour.intent),
          output_(output)
    {}

    void start(const rectangle& size)
    {
        sink_description image;
        image.width = size.width;
        image.height = size.height;
        image.model = kind_ == canvas_kind::picture ? colour_model::rgb : colour_model::grey;
        image.alpha = keep_alpha_;
        sink_.emplace(output_.working_path(), image);
        output_.made();
    }
    void write(const canvas_block& block)
    {
        if (kind_ == canvas_kind::mask) return sink_->write_rows(block.colour);
        rgb_.resize(block.place.pixels() * rgb_bytes);
        proof_.apply(block.colour, rgb_, block.place.pixels());
        if (keep_alpha_) {
            with_alpha(block);
            return sink_->write_rows(rgba_);
        }
        if (!block.alpha.empty()) lay_on_board(block);
        sink_->write_rows(rgb_);
    }
    void finish() { sink_->finish(); }

private:
    static constexpr std::size_t rgb_bytes = 3;
    canvas_kind kind_;
    bool keep_alpha_;
    colour_transform proof_;
    output_file& output_;
    std::optional<png_sink> sink_;
    std::vector<std::uint8_t> rgb_;
    std::vector<std::uint8_t> rgba_;

    void with_alpha(const canvas_block& block)
    {
        rgba_.clear();
        for (std::size_t pixel = 0; pixel < block.alpha.size(); ++pixel) {
            const auto rgb = rgb_.begin() + static_cast<std::ptrdiff_t>(pixel * rgb_bytes);
            rgba_.insert(rgba_.end(), rgb, rgb + rgb_bytes);
            rgba_.push_back(block.alpha[pixel]);
        }
    }
    void lay_on_board(const canvas_block& block)
    {
        constexpr std::uint32_t opaque = 255;
        const auto width = static_cast<std::size_t>(block.place.width);
        for (std::size_t pixel = 0; pixel < block.alpha.size(); ++pixel) {
            const std::uint32_t alpha = block.alpha[pixel];
            const std::size_t y = static_cast<std::size_t>(block.place.y) + pixel / width;
            const std::uint32_t behind = board_grey(pixel % width, y) * (opaque - alpha);
            for (std::size_t sample = pixel * rgb_bytes; sample < (pixel + 1) * rgb_bytes; ++sample) {
                rgb_[sample] = static_cast<std::uint8_t>((rgb_[sample] * alpha + behind + opaque / 2) / opaque);
            }
        }
    }
};

void show(const open_canvas& canvas, const preview_options& options, screen_writer& screen)
{
    const auto show_block = [&](const canvas_block& block) {
        screen.start(block.place);
        screen.write(block);
    };
    const bool by_pixels = options.level >= 0 || options.region.has_value();
    if (options.icon) return show_block(stored_icon(canvas));
    if (!by_pixels && has_stored_image(canvas)) return show_block(stored_image(canvas));

    const rectangle part = chosen_part(options.region, canvas.bounds());
    const std::int32_t level = std::max(options.level, 0);
    screen.start(sampled_size(part, level));
    read_sampled(canvas, part, level, [&](const canvas_block& block) { screen.write(block); });
}

exit_code run_preview(const preview_options& options)
{
    statistics costs(options.run.statistics);
    if (ending_of(options.image) != ".png") {
        throw CLI::ValidationError("OUT.png", "must end in .png: " + options.image);
    }
    refuse_same_file(options.canvas, options.image);
    output_file output(options.image, options.force);
    const session running(options.run.session);
    const open_canvas canvas = open_canvas::open(options.canvas);
    {
        screen_writer screen(canvas, options, output);
        show(canvas, options, screen);
        screen.finish();
    }
    output.commit();
    costs.note_cache(canvas, running);
    costs.print();
    return exit_code::done;
}

}  // namespace

void add_preview(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<preview_options>();
    CLI::App* const command = app.add_subcommand(
        "preview", "Show a canvas as an sRGB PNG: its reduced image, its icon, a smaller copy or a part (masks: grey)");
    command->add_option("CANVAS", options->canvas, "The canvas")->required();
    command->add_option("OUT.png", options->image, "The image to make")->required();
    CLI::Option_group* const view = command->add_option_group("View", "One of these");
    view->require_option(0, 1);
    view->add_flag("--reduced", options->reduced, "The reduced image in the file (default)");
    view->add_flag("--icon", options->icon, "The icon in the file, which has no alpha");
    view->add_option("--level", options->level, "Every 2^N-th pixel of every 2^N-th row of the canvas")
        ->check(CLI::Range(0, highest_level))
        ->type_name("N");
    add_region(*view, options->region, "All pixels of this part of the canvas");
    command->add_flag("--alpha", options->keep_alpha, "Keep the alpha instead of showing it on a checkerboard");
    command->add_flag("--force", options->force, "Replace an existing file");
    options->colour.add_to(*command);
    options->run.add_to(*command);
    command->callback([options, &chosen] { chosen = [options] { return run_preview(*options); }; });
}

}  // namespace iocache::tools
