// Bringing files and their names to the disk, for whatever may not be lost when the power goes. A file that was
// synchronised is safe, but a new or changed name of it only once its folder was synchronised too.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>

#include "iocache/canvas/canvas.h"

namespace {

using namespace iocache::canvas;

std::array<bool, canvas_slots> name_is_new = {};  // client only

std::string folder_of(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

bool iocache::canvas::synchronise_path(const char* path)
{
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    // What cannot be synchronised at all, such as a device, has nothing to lose.
    const bool done = fsync(descriptor) == 0 || errno == EINVAL;
    close(descriptor);
    return done;
}

bool iocache::canvas::synchronise_name(const char* path)
{
    return synchronise_path(folder_of(path).c_str());
}

void iocache::canvas::note_new_name(const cv_canvas& record, bool is_new)
{
    name_is_new.at(static_cast<size_t>(record.index)) = is_new;
}

void iocache::canvas::synchronise_new_name(const cv_canvas& record)
{
    if (!name_is_new.at(static_cast<size_t>(record.index))) return;
    if (synchronise_name(record.file_name)) note_new_name(record, false);
}
