// A small paint program for canvases of any size.
//
//   paint FILE [--new WIDTHxHEIGHT [--mask]] [--cache MIB] [--in-line]
//   paint --measure STAMPS [--cache MIB] [--in-line]
//
// Opens a canvas, or makes a new picture or mask, and paints into it with a soft brush. The program shows what a host
// does: it keeps the reduced image up to date from dirty bits, shows that image at once and full pixels where they can
// be seen, and stores reduced image and icon when it saves and when it closes. What is painted is in the canvas: there
// is nothing to discard at the end.
//
// --cache sets the tile cache's memory (256 MiB; 64 when measuring), --in-line does without the cache process.
// --measure needs no window: it prints how long stamps on a canvas of 20,000 x 20,000 take from the pointer event to
// the updated reduced image. Its file goes to TMPDIR, or /tmp, and is deleted.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <span>

#include "app.h"
#include "document.h"
#include "measure.h"
#include "options.h"
#include "session.h"
#include "window.h"

namespace {

using namespace paint;

enum exit_code { done = 0, failed = 1, wrong_usage = 2 };

constexpr int32_t window_width = 1'200;
constexpr int32_t window_height = 760;

exit_code measure(const options& wanted)
{
    return measure_stamps(std::filesystem::temp_directory_path().string(), wanted.measured_stamps) ? done : failed;
}

exit_code paint_in_window(const options& wanted)
{
    const auto canvas = wanted.created
                            ? document::create(wanted.file, wanted.created->width, wanted.created->height, wanted.kind)
                            : document::open(wanted.file);
    {
        window shown("paint: " + wanted.file, window_width, window_height);
        app(*canvas, shown).run();
    }
    return canvas->close() ? done : failed;
}

int run(std::span<const char* const> arguments)
{
    const auto wanted = read_options(arguments);
    if (!wanted) {
        std::fputs(usage, stderr);
        return wrong_usage;
    }
    const session library(wanted->cache_mebibytes, wanted->mode);
    return wanted->measured_stamps > 0 ? measure(*wanted) : paint_in_window(*wanted);
}

}  // namespace

int main(int count, char** arguments)
{
    try {
        return run(std::span<const char* const>(arguments, static_cast<size_t>(count)).subspan(1));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "paint: %s\n", error.what());
        return failed;
    }
}
