#include "iocache/convert/replace_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "iocache/canvas/canvas.h"

// A copy straight onto the old file would empty it first; across file systems the copy is made beside it.
int32_t iocache::convert::replace_file(const char* from, const char* to)
{
    if (!canvas::synchronise_path(from)) return -255;
    if (std::rename(from, to) == 0) {
        canvas::synchronise_name(to);
        return 0;
    }
    if (errno != EXDEV) return -255;
    const std::string beside = std::string(to) + ".converted";
    if (cv_rename_file(0, from, beside.c_str()) != 0 || std::rename(beside.c_str(), to) != 0) {
        unlink(beside.c_str());
        return -255;
    }
    canvas::synchronise_name(to);
    return 0;
}
