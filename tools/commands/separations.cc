// iocache separations: each ink of a canvas, and its alpha, as a grey image of its own.
#include <array>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include <fmt/format.h>

#include "tools/canvas/open_canvas.h"
#include "tools/canvas/sampled_part.h"
#include "tools/canvas/session.h"
#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/file.h"
#include "tools/images/image_sink.h"
#include "tools/output_file.h"
#include "tools/progress.h"
#include "tools/statistics.h"

namespace iocache::tools {

namespace {

struct separations_options {
    std::string canvas;
    std::string folder;
    bool force = false;
    run_options run;
};

constexpr std::uint8_t paper = 255;  // no ink

// The folder that the images go to. One that had to be made goes away again when nothing gets into it.
class target_folder {
public:
    explicit target_folder(std::string path) : path_(std::move(path))
    {
        std::error_code problem;
        made_ = std::filesystem::create_directory(path_, problem);
        if (problem) {
            throw failure(exit_code::not_readable,
                          fmt::format("{}: cannot make the folder: {}", path_, problem.message()));
        }
    }
    target_folder(const target_folder&) = delete;
    target_folder& operator=(const target_folder&) = delete;
    ~target_folder()
    {
        std::error_code ignored;
        if (made_) std::filesystem::remove(path_, ignored);  // refused for a folder that holds something
    }

    [[nodiscard]] std::string file(const std::string& name) const
    {
        return (std::filesystem::path(path_) / name).string();
    }

private:
    std::string path_;
    bool made_ = false;
};

// One plane of a canvas on its way into a PNG.
class plane_writer {
public:
    enum class sort { ink, alpha, mask };

    plane_writer(const separations_options& options, const std::string& path, sort kind, std::size_t ink = 0)
        : kind_(kind),
          ink_(ink),
          output_(path, options.force)
    {
        refuse_same_file(options.canvas, path);
    }

    void start(const rectangle& size)
    {
        sink_description grey;
        grey.width = size.width;
        grey.height = size.height;
        sink_.emplace(output_.working_path(), grey);
        output_.made();
    }
    void write(const canvas_block& block)
    {
        if (kind_ == sort::mask) return sink_->write_rows(block.colour);
        if (kind_ == sort::alpha) return sink_->write_rows(block.alpha);
        plane_.resize(block.place.pixels());
        for (std::size_t pixel = 0; pixel < plane_.size(); ++pixel) {
            plane_[pixel] = static_cast<std::uint8_t>(paper - block.colour[pixel * picture_colour_bytes + ink_]);
        }
        sink_->write_rows(plane_);
    }
    void finish() { sink_->finish(); }
    void commit() { output_.commit(); }

private:
    sort kind_;
    std::size_t ink_;
    output_file output_;
    std::optional<png_sink> sink_;
    std::vector<std::uint8_t> plane_;
};

using plane_writers = std::vector<std::unique_ptr<plane_writer>>;

plane_writers planes_of(canvas_kind kind, const separations_options& options, const target_folder& folder)
{
    using sort = plane_writer::sort;
    plane_writers planes;
    if (kind == canvas_kind::mask) {
        planes.push_back(std::make_unique<plane_writer>(options, folder.file("mask.png"), sort::mask));
        return planes;
    }
    constexpr std::array<const char*, picture_colour_bytes> inks{"cyan.png", "magenta.png", "yellow.png", "black.png"};
    for (std::size_t ink = 0; ink < inks.size(); ++ink) {
        planes.push_back(std::make_unique<plane_writer>(options, folder.file(inks[ink]), sort::ink, ink));
    }
    planes.push_back(std::make_unique<plane_writer>(options, folder.file("alpha.png"), sort::alpha));
    return planes;
}

exit_code run_separations(const separations_options& options)
{
    statistics costs(options.run.statistics);
    const session running(options.run.session);
    const open_canvas canvas = open_canvas::open(options.canvas);
    const target_folder folder(options.folder);
    const plane_writers planes = planes_of(canvas.kind(), options, folder);
    const rectangle bounds = canvas.bounds();
    {
        progress bar("separations", static_cast<std::int64_t>(bounds.pixels()));
        for (const auto& plane : planes) plane->start(bounds);
        read_sampled(canvas, bounds, 0, [&](const canvas_block& block) {
            for (const auto& plane : planes) plane->write(block);
            bar.advance(static_cast<std::int64_t>(block.place.pixels()));
        });
        for (const auto& plane : planes) plane->finish();
    }
    for (const auto& plane : planes) plane->commit();
    costs.note_cache(canvas, running);
    costs.print();
    return exit_code::done;
}

}  // namespace

void add_separations(CLI::App& app, action& chosen)
{
    const auto options = std::make_shared<separations_options>();
    CLI::App* const command = app.add_subcommand(
        "separations",
        "Write each ink of a canvas and its alpha as a grey PNG: cyan.png, magenta.png, yellow.png and black.png, as "
        "plates look (full ink is black, no ink white), and alpha.png (opaque is white); a mask gives mask.png, its "
        "bytes as they are");
    command->add_option("CANVAS", options->canvas, "The canvas")->required();
    command->add_option("DIR", options->folder, "The folder for the images; made if it is not there")->required();
    command->add_flag("--force", options->force, "Replace existing files");
    options->run.add_to(*command);
    command->callback([options, &chosen] { chosen = [options] { return run_separations(*options); }; });
}

}  // namespace iocache::tools
