// iocache info: what a canvas file says about itself. Reads the file only; the library is not started.
#include <memory>

#include <fmt/format.h>

#include "tools/commands/commands.h"
#include "tools/commands/file_reports.h"
#include "tools/printable.h"
#include "tools/reader/canvas_file.h"

namespace iocache::tools {

namespace {

struct info_options {
    std::vector<std::string> canvases;
    bool as_json = false;
    bool tiles = false;
};

// A text field: up to its NUL, or all of it.
template <std::size_t size> std::string text_of(const char (&field)[size])
{
    return {field, std::find(field, field + size, '\0')};
}

// Everything known about one file, in the order in which it is shown.
json describe(const canvas_file& file, bool with_tiles)
{
    const cv_header& header = file.header();
    const rectangle bounds = file.bounds();
    const std::vector<std::string> problems = file.problems();
    json all;
    all["file"] = file.path();
    all["bytes"] = file.bytes();
    all["kind"] = file.kind() == canvas_kind::picture ? "picture" : "mask";
    all["width"] = bounds.width;
    all["height"] = bounds.height;
    all["bounds"] = {
        {"x_min", header.x_min}, {"y_min", header.y_min}, {"x_max", header.x_max}, {"y_max", header.y_max}};
    all["offset"] = {{"x", header.x_offset}, {"y", header.y_offset}};
    all["version"] = header.version_filetype;
    all["dirty"] = header.dirty != 0;
    all["tile"] = {{"width", header.tile_width}, {"height", header.tile_height}, {"bytes", header.tile_bytes}};
    all["tiles"] = {{"across", file.tiles_across()}, {"down", file.tiles_down()}, {"written", header.tiles_written}};
    if (problems.empty()) {
        all["tiles"]["occupied"] = file.occupied_tiles();
        if (with_tiles) {
            json& slots = all["tiles"]["slots"] = json::array();
            file.for_each_tile([&](std::int64_t, std::int32_t slot) { slots.push_back(slot); });
        }
    }
    all["icon"] = {{"width", header.icon_width}, {"height", header.icon_height}};
    all["reduced"] = {{"present", header.has_subsampled != 0}, {"scale", header.scale}};
    all["host"] = text_of(header.header_part);
    all["machine"] = text_of(header.host_name);
    all["user"] = text_of(header.user);
    all["date"] = text_of(header.date);
    all["colour_processing"] = text_of(header.tqcms_procname);
    for (const file_region& region : file.regions()) {
        all["regions"].push_back({{"name", region.name}, {"offset", region.offset}, {"bytes", region.bytes}});
    }
    all["problems"] = problems;
    return all;
}

// A picture of the grid: '#' for a tile that has been written, '.' for one that has not.
void print_map(const canvas_file& file)
{
    std::string line;
    file.for_each_tile([&](std::int64_t, std::int32_t slot) {
        line += slot >= 0 ? '#' : '.';
        if (static_cast<std::int64_t>(line.size()) < file.tiles_across()) return;
        fmt::print("  {}\n", line);
        line.clear();
    });
}

void print_text(const canvas_file& file, const json& all, bool with_tiles)
{
    const auto text = [&](const char* key) { return all[key].get<std::string>(); };
    const auto header_text = [&](const char* key) { return text(key).empty() ? "unknown" : printable(text(key)); };
    const auto number = [&](const char* group, const char* key) { return all[group][key].get<std::int64_t>(); };
    const cv_header& header = file.header();
    const bool sound = all["problems"].empty();
    fmt::print("{}\n", file.path());
    fmt::print("  {}, {} x {} pixels, x {}..{}, y {}..{}, offset {}, {}\n", text("kind"), file.bounds().width,
               file.bounds().height, header.x_min, header.x_max, header.y_min, header.y_max, header.x_offset,
               header.y_offset);
    fmt::print("  {} bytes, version {}, {}\n", file.bytes(), header.version_filetype,
               header.dirty != 0 ? "dirty: it was not closed" : "closed cleanly");
    fmt::print("  made {} by {} on {}, {}\n", header_text("date"), header_text("user"), header_text("machine"),
               header_text("host"));
    fmt::print("  tiles of {} x {} pixels, {} bytes each: {} across, {} down, {} slots in use\n", header.tile_width,
               header.tile_height, header.tile_bytes, number("tiles", "across"), number("tiles", "down"),
               header.tiles_written);
    if (sound) fmt::print("  occupied tiles: {}\n", number("tiles", "occupied"));
    fmt::print("  icon {} x {}; {}\n", header.icon_width, header.icon_height,
               header.has_subsampled != 0 ? fmt::format("reduced image at scale {:.6g}", header.scale)
                                          : std::string("no reduced image"));
    fmt::print("  {:<18} {:>12} {:>14}\n", "region", "offset", "bytes");
    for (const file_region& region : file.regions()) {
        fmt::print("  {:<18} {:>12} {:>14}\n", region.name, region.offset, region.bytes);
    }
    if (with_tiles && sound) print_map(file);
    for (const json& problem : all["problems"]) fmt::print("  problem: {}\n", problem.get<std::string>());
}

exit_code show_file(const std::string& path, const info_options& options, json& report)
{
    const canvas_file file(path);
    report = describe(file, options.tiles && options.as_json);
    const bool is_damaged = !report["problems"].empty();
    if (is_damaged) {
        fmt::print(stderr, "iocache: {}: the canvas is damaged: {}\n", path,
                   report["problems"].front().get<std::string>());
    }
    if (!options.as_json) print_text(file, report, options.tiles);
    return is_damaged ? exit_code::unsupported : exit_code::done;
}

exit_code run_info(const info_options& options)
{
    file_reports reports(options.as_json);
    for (const std::string& path : options.canvases) {
        reports.add(path, [&](json& report) { return show_file(path, options, report); });
    }
    return reports.finish();
}

}  // namespace

void add_info(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<info_options>();
    CLI::App* const command =
        app.add_subcommand("info", "Show the header, the regions and the occupied tiles of canvas files");
    command->add_option("CANVAS", options->canvases, "The canvas files; they are only read")->required();
    command->add_flag("--json", options->as_json,
                      "Print a JSON array with one object for each file, also for one that cannot be read");
    command->add_flag("--tiles", options->tiles, "Show which tiles are occupied; in JSON the slot of each tile");
    command->callback([options, &chosen] { chosen = [options] { return run_info(*options); }; });
}

}  // namespace iocache::tools
