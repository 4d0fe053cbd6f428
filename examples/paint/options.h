// The command line.
#ifndef IOCACHE_EXAMPLES_PAINT_OPTIONS_H
#define IOCACHE_EXAMPLES_PAINT_OPTIONS_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "document.h"
#include "session.h"

namespace paint {

struct canvas_size {
    int32_t width = 0, height = 0;
};

struct options {
    std::string file;                    // may be empty when stamps are measured
    std::optional<canvas_size> created;  // open an existing file otherwise
    canvas_kind kind = canvas_kind::picture;
    int32_t cache_mebibytes = 256;
    cache_mode mode = cache_mode::process;
    int32_t measured_stamps = 0;  // 0: show the window
};

inline constexpr const char* usage = "usage: paint FILE [--new WIDTHxHEIGHT [--mask]] [--cache MIB] [--in-line]\n"
                                     "       paint --measure STAMPS [--cache MIB] [--in-line]\n";

// Nothing when the arguments, without the program's name, are not understood.
std::optional<options> read_options(std::span<const char* const> arguments);

}  // namespace paint

#endif
