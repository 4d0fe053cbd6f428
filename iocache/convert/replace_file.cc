#include "iocache/convert/replace_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include <iocache/iocache.h>

namespace {

// What was written to the file, or to the folder's list of names, is on the disk.
bool synchronise(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool done = fsync(descriptor) == 0;
    close(descriptor);
    return done;
}

std::string folder_of(const std::string& path)
{
    const size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

// A copy straight onto the old file would empty it first; across file systems the copy is made beside it.
int32_t iocache::convert::replace_file(const char* from, const char* to)
{
    if (!synchronise(from)) return -255;
    if (std::rename(from, to) == 0) {
        synchronise(folder_of(to));
        return 0;
    }
    if (errno != EXDEV) return -255;
    const std::string beside = std::string(to) + ".converted";
    if (cv_rename_file(0, from, beside.c_str()) != 0 || !synchronise(beside) || std::rename(beside.c_str(), to) != 0) {
        unlink(beside.c_str());
        return -255;
    }
    synchronise(folder_of(to));
    return 0;
}
