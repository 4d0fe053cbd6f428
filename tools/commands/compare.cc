// iocache compare: does a canvas hold what importing an image would make of it?
#include <memory>

#include <fmt/format.h>

#include "tools/canvas/open_canvas.h"
#include "tools/canvas/pixel_differences.h"
#include "tools/canvas/session.h"
#include "tools/colour/converter.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/file.h"
#include "tools/images/image_source.h"
#include "tools/pipeline/image_pipeline.h"
#include "tools/pipeline/orientation.h"
#include "tools/progress.h"
#include "tools/statistics.h"

namespace iocache::tools {

namespace {

struct compare_options {
    std::string canvas;
    std::string image;
    std::vector<rectangle> exceptions;
    colour_options colour;
    reading_options reading;
    run_options run;
};

// Reads the canvas where the image's blocks come to lie.
class image_comparison {
public:
    image_comparison(const open_canvas& canvas, const std::vector<rectangle>& exceptions)
        : canvas_(canvas),
          origin_(canvas.bounds()),
          differences_("the canvas", "the image", exceptions)
    {}

    void compare(const canvas_block& image)
    {
        stored_.place = image.place;
        stored_.place.x += origin_.x;
        stored_.place.y += origin_.y;
        canvas_.read(stored_);
        differences_.compare(stored_, image);
    }
    [[nodiscard]] const pixel_differences& differences() const { return differences_; }

private:
    const open_canvas& canvas_;
    rectangle origin_;
    canvas_block stored_;
    pixel_differences differences_;
};

exit_code run_compare(const compare_options& options)
{
    statistics costs(options.run.statistics);
    const session running(options.run.session);
    const open_canvas canvas = open_canvas::open(options.canvas);
    const auto source = open_image(options.image, {folder_of(options.canvas), options.reading.polarity});
    const image_description& image = source->description();
    const picture_size size = turned(picture_size{image.width, image.height}, image.orientation);
    const rectangle bounds = canvas.bounds();
    if (bounds.width != size.width || bounds.height != size.height) {
        fmt::print("different: the canvas is {} x {} pixels, the image {} x {}\n", bounds.width, bounds.height,
                   size.width, size.height);
        return exit_code::different;
    }

    const converter colours(image, canvas.kind(), colour_profile::from_file(options.colour.profile, colour_model::cmyk),
                            options.colour.intent);
    image_comparison comparison(canvas, options.exceptions);
    {
        progress bar("compare", std::int64_t{size.width} * size.height);
        run_pipeline(*source, colours, band_rows(image.width, canvas.kind()), [&](const canvas_block& block) {
            comparison.compare(block);
            bar.advance(static_cast<std::int64_t>(block.place.pixels()));
        });
    }
    costs.note_cache(canvas, running);
    const pixel_differences& differences = comparison.differences();
    const std::int64_t pixels = std::int64_t{size.width} * size.height;
    if (differences.count() == 0) {
        fmt::print("same: {} pixels\n", pixels);
    } else {
        fmt::print("different: {} of {} pixels; the first at {}\n", differences.count(), pixels, differences.first());
    }
    costs.print();
    return differences.count() == 0 ? exit_code::done : exit_code::different;
}

}  // namespace

void add_compare(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<compare_options>();
    CLI::App* const command =
        app.add_subcommand("compare", "Compare every byte of a canvas with what importing an image would give");
    command->add_option("CANVAS", options->canvas, "The canvas")->required();
    command->add_option("IMAGE", options->image, "The image")->required();
    add_rectangles(*command, "--except", options->exceptions,
                   "Leave a part of the canvas out; may be given several times");
    options->colour.add_to(*command);
    options->reading.add_to(*command);
    options->run.add_to(*command);
    command->callback([options, &chosen] { chosen = [options] { return run_compare(*options); }; });
}

}  // namespace iocache::tools
