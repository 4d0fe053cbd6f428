// iocache refresh: the reduced image and the icon of a canvas are made again from its tiles.
#include <memory>

#include "tools/canvas/open_canvas.h"
#include "tools/canvas/reduced_image.h"
#include "tools/canvas/session.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/statistics.h"

namespace iocache::tools {

namespace {

struct refresh_options {
    std::string canvas;
    run_options run;
};

exit_code run_refresh(const refresh_options& options)
{
    statistics costs(options.run.statistics);
    const session running(options.run.session);
    open_canvas canvas = open_canvas::open(options.canvas);
    {
        reduced_image reduced(canvas);
        reduced.take_tiles();
        reduced.store();
    }
    costs.note_cache(canvas, running);
    canvas.keep();
    costs.print();
    return exit_code::done;
}

}  // namespace

void add_refresh(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<refresh_options>();
    CLI::App* const command =
        app.add_subcommand("refresh", "Make the reduced image and the icon of a canvas again from its tiles");
    command->add_option("CANVAS", options->canvas, "The canvas; its pixels stay as they are")->required();
    options->run.add_to(*command);
    command->callback([options, &chosen] { chosen = [options] { return run_refresh(*options); }; });
}

}  // namespace iocache::tools
