// iocache compact: a canvas file without the room that nothing uses.
#include <memory>

#include <fmt/format.h>

#include "tools/commands/commands.h"
#include "tools/repair/compaction.h"

namespace iocache::tools {

namespace {

exit_code run_compact(const std::string& path)
{
    const canvas_file file(path);
    const compaction plan = plan_compaction(file);
    if (!plan.is_needed() && file.bytes() == plan.bytes) {
        fmt::print("{}: compact already\n", path);
        return exit_code::done;
    }
    replacement_file copy(path);
    write_compacted(file, copy);
    copy.take_place();
    fmt::print("{}: {} slot(s) dropped, {} moved, {} bytes instead of {}\n", path, plan.dropped, plan.moved, plan.bytes,
               file.bytes());
    return exit_code::done;
}

}  // namespace

void add_compact(CLI::App& app, action& chosen)
{
    const auto path = std::make_shared<std::string>();
    CLI::App* const command =
        app.add_subcommand("compact", "Drop what no tile of a canvas file uses, and put its tiles in order");
    command->add_option("CANVAS", *path, "The canvas, which no program may have open; its pixels stay")->required();
    command->callback([path, &chosen] { chosen = [path] { return run_compact(*path); }; });
}

}  // namespace iocache::tools
