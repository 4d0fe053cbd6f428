// Converting one old file: first what is to be done, which changes nothing, and then the work.
//
// The original is only read. A copy of it, in a folder beside it, becomes the canvas, is brought to the disk and takes
// the original's name; the original keeps its bytes as NAME.orig. Killed at any moment, a run leaves the old file or
// the complete canvas under the name, and a folder that the next run recognises.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/canvas/session.h"
#include "tools/old/old_file.h"

namespace iocache::tools {

struct conversion_options {
    bool keep = false;  // leaves the original under its name; the canvas is called NAME.canvas
    session_options session;
};

// The state of a file, and what follows from it.
struct conversion_plan {
    enum class step {
        none,  // it is a canvas, or has one beside it
        convert,
        complete,  // a killed run got as far as the two names, and the canvas lacks its own
    };
    step next = step::none;
    old_file file;         // the old file, or the canvas when there is nothing to do
    std::string original;  // where the old file lies afterwards; empty when there is none
    std::string canvas;    // where the canvas lies afterwards
};

// The file whose conversion a name belongs to: of what a killed run left, NAME.converting and, when NAME is missing,
// NAME.orig, that is NAME.
[[nodiscard]] std::string file_to_convert(const std::string& path);

// Looks, and changes nothing. Throws `failure`.
[[nodiscard]] conversion_plan plan_conversion(const std::string& path, const conversion_options& options);

struct conversion_result {
    conversion_plan plan;
    std::vector<std::uint8_t> palette;  // four bytes an entry
};

// Does it. Starts and stops the library, and may be called once in a process, which a signal ends at once: the library
// cannot be stopped in the middle. Throws `failure`; then the original is as it was.
[[nodiscard]] conversion_result convert_old_file(const std::string& path, const conversion_options& options);

// Removes what a process that was ended has left of its work on this file.
void remove_left_work(const std::string& path);

}  // namespace iocache::tools
