// Temporary names, and a list of the files in the making.
#include "tools/output_file.h"

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "tools/failure.h"

namespace iocache::tools {

namespace {

std::mutex partial_guard;
std::set<std::string> partial_files;  // under partial_guard

}  // namespace

output_file::output_file(std::string path, bool replace, place where) : path_(std::move(path)), replace_(replace)
{
    struct stat status {};
    const bool exists = ::lstat(path_.c_str(), &status) == 0;
    if (exists && !replace) {
        throw failure(exit_code::not_readable, path_ + ": the file exists already (--force replaces it)");
    }
    if (exists && !S_ISREG(status.st_mode)) {
        throw failure(exit_code::not_readable, path_ + ": not an ordinary file; it is left alone");
    }
    const bool in_place = where == place::final_place && !exists;
    working_path_ = in_place ? path_ : fmt::format("{}.partial-{}", path_, ::getpid());
}

output_file::~output_file()
{
    if (!made_) return;
    ::unlink(working_path_.c_str());
    const std::lock_guard held(partial_guard);
    partial_files.erase(working_path_);
}

void output_file::made()
{
    const std::lock_guard held(partial_guard);
    partial_files.insert(working_path_);
    made_ = true;
}

void output_file::commit()
{
    if (working_path_ != path_) {
        // Someone may have made a file of that name meanwhile.
        const unsigned flags = replace_ ? 0 : RENAME_NOREPLACE;
        int result = ::renameat2(AT_FDCWD, working_path_.c_str(), AT_FDCWD, path_.c_str(), flags);
        if (result != 0 && errno == EINVAL) result = std::rename(working_path_.c_str(), path_.c_str());
        if (result != 0) throw system_failure(path_, "cannot write");
    }
    const std::lock_guard held(partial_guard);
    partial_files.erase(working_path_);
    made_ = false;  // it is the user's now
}

void remove_partial_files()
{
    const std::lock_guard held(partial_guard);
    for (const std::string& path : partial_files) ::unlink(path.c_str());
}

}  // namespace iocache::tools
