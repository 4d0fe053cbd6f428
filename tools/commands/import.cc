// iocache import: an image file becomes a canvas.
#include <memory>

#include <fmt/format.h>
#include <iocache/iocache.h>

#include "tools/canvas/open_canvas.h"
#include "tools/canvas/reduced_image.h"
#include "tools/canvas/session.h"
#include "tools/colour/converter.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/file.h"
#include "tools/images/image_source.h"
#include "tools/output_file.h"
#include "tools/pipeline/image_pipeline.h"
#include "tools/pipeline/orientation.h"
#include "tools/progress.h"
#include "tools/statistics.h"

namespace iocache::tools {

namespace {

struct import_options {
    std::string image;
    std::string canvas;
    bool mask = false;
    bool force = false;
    colour_options colour;
    reading_options reading;
    run_options run;
};

void check_room(const std::string& path, const picture_size& size, canvas_kind kind)
{
    const std::int64_t wanted = cv_calculate_filesize(size.width, size.height, static_cast<std::int32_t>(kind));
    const std::int64_t free = free_bytes(folder_of(path));
    if (free >= 0 && wanted > free) {
        throw failure(exit_code::no_room,
                      fmt::format("{}: would not fit: the canvas needs {} bytes, and {} are free", path, wanted, free));
    }
}

exit_code run_import(const import_options& options)
{
    statistics costs(options.run.statistics);
    refuse_same_file(options.image, options.canvas);
    const canvas_kind kind = options.mask ? canvas_kind::mask : canvas_kind::picture;
    const auto source = open_image(options.image, {folder_of(options.canvas), options.reading.polarity});
    const image_description& image = source->description();
    const converter colours(image, kind, colour_profile::from_file(options.colour.profile, colour_model::cmyk),
                            options.colour.intent);
    output_file output(options.canvas, options.force);

    const session running(options.run.session);
    const picture_size size = turned(picture_size{image.width, image.height}, image.orientation);
    check_room(options.canvas, size, kind);
    {
        open_canvas canvas = open_canvas::create(output.working_path(), kind, size.width, size.height);
        output.made();
        {
            progress bar("import", std::int64_t{size.width} * size.height);
            reduced_image reduced(canvas);
            run_pipeline(*source, colours, band_rows(image.width, kind), [&](const canvas_block& block) {
                canvas.write(block);
                reduced.take(block);
                bar.advance(static_cast<std::int64_t>(block.place.pixels()));
            });
            reduced.store();
        }
        costs.note_cache(canvas, running);
        canvas.keep();
    }
    output.commit();
    output.synchronise_name();
    costs.print();
    return exit_code::done;
}

}  // namespace

void add_import(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<import_options>();
    CLI::App* const command =
        app.add_subcommand("import", "Make a canvas of a TIFF, JPEG or PNG image, or of an old block file");
    command->add_option("PHOTO", options->image, "The image; it is only read")->required();
    command->add_option("CANVAS", options->canvas, "The canvas to make")->required();
    command->add_flag("--mask", options->mask, "Make a mask of the image's grey values instead of a picture");
    command->add_flag("--force", options->force, "Replace an existing file");
    options->colour.add_to(*command);
    options->reading.add_to(*command);
    options->run.add_to(*command);
    command->callback([options, &chosen] { chosen = [options] { return run_import(*options); }; });
}

}  // namespace iocache::tools
