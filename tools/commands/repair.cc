// iocache repair: a damaged canvas file made whole, in a copy; the damaged one stays.
#include <memory>

#include <fmt/format.h>

#include "tools/commands/commands.h"
#include "tools/file.h"
#include "tools/images/image_sink.h"
#include "tools/output_file.h"
#include "tools/repair/contact_sheet.h"
#include "tools/repair/repair_plan.h"
#include "tools/repair/repaired_copy.h"
#include "tools/repair/replacement_file.h"
#include "tools/verify/checks.h"

namespace iocache::tools {

namespace {

constexpr const char* kept_ending = ".damaged";

struct repair_options {
    std::string canvas;
    std::string sheet;
    bool dry_run = false;
    bool rebuild_table = false;
};

void print_plan(const std::string& path, const repair_plan& plan)
{
    fmt::print("{}:\n", path);
    for (const finding& one : plan.findings) {
        if (one.severity == weight::damage) fmt::print("  found {}: {}\n", one.id, one.what);
    }
    for (const std::string& step : plan.steps) fmt::print("  plan: {}\n", step);
    for (const std::string& loss : plan.losses) fmt::print("  lost: {}\n", loss);
    for (const unclear_match& match : plan.unclear) {
        if (match.tile == no_tile) {
            fmt::print("  unclear: slot {} fits no tile\n", fmt::join(match.candidates, ", "));
        } else {
            fmt::print("  unclear: tile {} gets slot {}{}{}\n", match.tile, match.chosen,
                       match.candidates.empty() ? "" : "; it may be ", fmt::join(match.candidates, ", "));
        }
    }
    std::fflush(stdout);
}

// What is left in the copy; the file is replaced all the same, for it is never worse than before.
exit_code print_result(const std::vector<finding>& left, const repair_plan& plan)
{
    for (const finding& one : left) {
        if (one.severity == weight::damage) fmt::print("  left {}: {}\n", one.id, one.what);
    }
    const bool is_whole = !has_damage(left) && plan.losses.empty() && plan.unclear.empty();
    return is_whole ? exit_code::done : exit_code::different;
}

void write_sheet(const canvas_file& file, const repair_plan& plan, const std::string& path)
{
    output_file output(path, true);
    output.made();
    write_contact_sheet(file, plan, output.working_path());
    output.commit();
    fmt::print("  what stayed unclear is shown in {}\n", path);
}

exit_code run_repair(const repair_options& options)
{
    const std::string sheet = options.sheet.empty() ? options.canvas + ".unclear.png" : options.sheet;
    refuse_same_file(options.canvas, sheet);
    refuse_unless_png(sheet);
    const canvas_file file(options.canvas);
    const repair_plan plan =
        plan_repair(file, options.rebuild_table ? table_trust::none : table_trust::where_it_makes_sense);
    print_plan(options.canvas, plan);
    if (!plan.is_possible) {
        fmt::print("  this cannot be repaired; nothing was changed\n");
        return exit_code::different;
    }
    if (!plan.is_needed()) {
        fmt::print("  nothing to repair\n");
        return exit_code::done;
    }
    if (options.dry_run) return exit_code::different;
    if (!plan.unclear.empty()) { write_sheet(file, plan, sheet); }
    replacement_file copy(options.canvas);
    write_repaired(file, plan, copy);
    const std::vector<finding> left = verify(canvas_file(copy.working_path()), depth::full);
    const std::string kept = copy.take_place_keeping(kept_ending);
    fmt::print("  repaired; the file as it was is {}\n", kept);
    return print_result(left, plan);
}

}  // namespace

void add_repair(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<repair_options>();
    CLI::App* const command = app.add_subcommand("repair", "Make a damaged canvas file whole; the damaged one is kept");
    command->add_option("CANVAS", options->canvas, "The canvas, which no program may have open")->required();
    command->add_flag("--dry-run", options->dry_run, "Only tell what would be done");
    command->add_flag("--rebuild-table", options->rebuild_table,
                      "Find the tile of every slot from the reduced image, whatever the tile table says");
    command->add_option("--sheet", options->sheet, "Where to show what stays unclear (CANVAS.unclear.png)")
        ->type_name("OUT.png");
    command->callback([options, &chosen] { chosen = [options] { return run_repair(*options); }; });
}

}  // namespace iocache::tools
