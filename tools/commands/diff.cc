// iocache diff: what two canvas files have in common, and what not. Reads the files only.
#include <algorithm>
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "tools/canvas/pixel_differences.h"
#include "tools/commands/commands.h"
#include "tools/commands/file_reports.h"
#include "tools/file.h"
#include "tools/images/heat_map.h"
#include "tools/images/image_sink.h"
#include "tools/interrupt.h"
#include "tools/output_file.h"
#include "tools/printable.h"
#include "tools/progress.h"
#include "tools/reader/pixel_reader.h"
#include "tools/verify/file_differences.h"

namespace iocache::tools {

namespace {

struct diff_options {
    std::string one;
    std::string other;
    std::string heat_map;
    bool pixels_only = false;
    bool as_json = false;
};

rectangle common_part(const rectangle& one, const rectangle& other)
{
    const std::int32_t x = std::max(one.x, other.x);
    const std::int32_t y = std::max(one.y, other.y);
    const std::int64_t width = std::min(one.right(), other.right()) - x;
    const std::int64_t height = std::min(one.bottom(), other.bottom()) - y;
    if (width < 1 || height < 1) return {};
    return {x, y, static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
}

// The pixels that both have, tile by tile of the first.
void compare_pixels(const pixel_reader& one, const pixel_reader& other, const rectangle& part,
                    pixel_differences& differences)
{
    canvas_block mine;
    canvas_block its;
    progress bar("diff", one.map().tiles());
    for (std::int64_t tile = 0; tile < one.map().tiles(); ++tile) {
        check_interrupt();
        bar.advance(1);
        const rectangle place = common_part(one.map().part_of(tile), part);
        if (place.pixels() == 0) continue;
        mine.shape(place, one.map().kind);
        its.shape(place, one.map().kind);
        one.read(mine);
        other.read(its);
        differences.compare(mine, its);
    }
}

struct diff_result {
    bool comparable = false;  // of one kind, with pixels in common
    rectangle part;
    pixel_differences pixels{"the first", "the second"};
    std::vector<header_difference> header;
    std::vector<std::string> regions;
    bool same_shape = true;

    [[nodiscard]] bool is_same() const
    {
        return comparable && same_shape && pixels.count() == 0 && header.empty() && regions.empty();
    }
};

void print_text(const diff_result& result)
{
    if (!result.comparable) {
        fmt::print("pixels: of another kind, or none in common\n");
    } else if (result.pixels.count() == 0) {
        fmt::print("pixels: same, {}{}\n", result.part.pixels(), result.same_shape ? "" : " in common");
    } else {
        fmt::print("pixels: {} of {} differ; the first at {}\n", result.pixels.count(), result.part.pixels(),
                   result.pixels.first());
    }
    for (const header_difference& one : result.header) {
        fmt::print("header: {}: {} against {}\n", one.field, printable(one.one), printable(one.other));
    }
    for (const std::string& region : result.regions) fmt::print("region: {} differs\n", region);
    fmt::print("{}\n", result.is_same() ? "same" : "different");
}

void print_failure(const diff_options& options, const failure& problem)
{
    json all;
    all["files"] = {options.one, options.other};
    describe_failure(all, problem);
    fmt::print("{}\n", text_of(all));
}

void print_json(const diff_options& options, const diff_result& result)
{
    json all;
    all["files"] = {options.one, options.other};
    all["same"] = result.is_same();
    all["pixels"] = {
        {"comparable", result.comparable}, {"compared", result.part.pixels()}, {"different", result.pixels.count()}};
    if (result.pixels.count() > 0)
        all["pixels"]["first"] = {{"x", result.pixels.first_x()}, {"y", result.pixels.first_y()}};
    all["header"] = json::array();
    for (const header_difference& one : result.header)
        all["header"].push_back({{"field", one.field}, {"values", {one.one, one.other}}});
    all["regions"] = result.regions;
    fmt::print("{}\n", text_of(all));
}

// `heat` takes where pixels differ, if there are any to compare.
diff_result compare_files(const diff_options& options, std::optional<heat_map>& heat)
{
    const canvas_file one(options.one);
    const canvas_file other(options.other);
    const pixel_reader mine(one);
    const pixel_reader its(other);
    diff_result result;
    result.part = common_part(mine.map().bounds, its.map().bounds);
    result.comparable = mine.map().kind == its.map().kind && result.part.pixels() > 0;
    result.same_shape = mine.map().bounds == its.map().bounds;
    if (result.comparable) {
        heat.emplace(result.part);
        if (!options.heat_map.empty())
            result.pixels.on_difference([&](std::int64_t x, std::int64_t y) { heat->add(x, y); });
        compare_pixels(mine, its, result.part, result.pixels);
    }
    if (!options.pixels_only) {
        result.header = header_differences(one, other);
        result.regions = region_differences(one, other);
    }
    return result;
}

// A script that asked for JSON gets an object also when there is nothing to compare.
diff_result compare_or_tell(const diff_options& options, std::optional<heat_map>& heat)
{
    try {
        return compare_files(options, heat);
    } catch (const failure& problem) {
        if (options.as_json) print_failure(options, problem);
        throw;
    }
}

std::optional<output_file> heat_map_file(const diff_options& options)
{
    if (options.heat_map.empty()) return std::nullopt;
    refuse_same_file(options.one, options.heat_map);
    refuse_same_file(options.other, options.heat_map);
    refuse_unless_png(options.heat_map);
    return std::optional<output_file>(std::in_place, options.heat_map, true);
}

exit_code run_diff(const diff_options& options)
{
    std::optional<output_file> output = heat_map_file(options);
    std::optional<heat_map> heat;
    const diff_result result = compare_or_tell(options, heat);
    if (options.as_json) {
        print_json(options, result);
    } else {
        print_text(result);
    }
    // Last: what is known by now is told also when there is no room for the image.
    if (output && heat) {
        output->made();
        heat->write(output->working_path());
        output->commit();
    }
    return result.is_same() ? exit_code::done : exit_code::different;
}

}  // namespace

void add_diff(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<diff_options>();
    CLI::App* const command =
        app.add_subcommand("diff", "Compare the pixels and the headers of two canvas files; only reads them");
    command->add_option("CANVAS", options->one, "A canvas")->required();
    command->add_option("OTHER", options->other, "Another")->required();
    command->add_flag("--pixels", options->pixels_only, "Leave headers, icons, reduced images and blocks out");
    command->add_flag("--json", options->as_json, "Print a JSON object, also when a file cannot be read");
    command->add_option("--heat-map", options->heat_map, "Show where pixels differ; an older image is replaced")
        ->type_name("OUT.png");
    command->callback([options, &chosen] { chosen = [options] { return run_diff(*options); }; });
}

}  // namespace iocache::tools
