// Temporary names, and a list of the files in the making.
#include "tools/output_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
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

// The longest names have no room for the ending.
std::string beside(const std::string& path)
{
    const std::string ending = partial_ending();
    const std::size_t name_bytes = path.size() - (path.rfind('/') + 1);  // npos + 1 is 0
    const std::size_t too_many = std::max<std::size_t>(name_bytes + ending.size(), NAME_MAX) - NAME_MAX;
    return path.substr(0, path.size() - too_many) + ending;
}

}  // namespace

output_file::output_file(std::string path, bool replace)
    : path_(std::move(path)),
      working_path_(beside(path_)),
      replace_(replace)
{
    struct stat status {};
    const bool exists = ::lstat(path_.c_str(), &status) == 0;
    if (exists && !replace) {
        throw failure(exit_code::not_readable, path_ + ": the file exists already (--force replaces it)");
    }
    if (exists && !S_ISREG(status.st_mode)) {
        throw failure(exit_code::not_readable, path_ + ": not an ordinary file; it is left alone");
    }
    if (!exists) return;
    // A program that works on it would go on with a file that has no name any more.
    auto locked = lock_file(path_);
    if (!locked) throw failure(exit_code::not_readable, path_ + ": another program has it open; close it there first");
    replaced_ = std::move(*locked);
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
    // Someone may have made a file of that name meanwhile.
    const unsigned flags = replace_ ? 0 : RENAME_NOREPLACE;
    int result = ::renameat2(AT_FDCWD, working_path_.c_str(), AT_FDCWD, path_.c_str(), flags);
    if (result != 0 && errno == EINVAL) result = std::rename(working_path_.c_str(), path_.c_str());
    if (result != 0) throw system_failure(path_, "cannot write");
    const std::lock_guard held(partial_guard);
    partial_files.erase(working_path_);
    made_ = false;  // it is the user's now
}

void output_file::synchronise_name() const
{
    const std::string folder = folder_of(path_);
    const file_descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (opened.get() < 0 || ::fsync(opened.get()) != 0) throw system_failure(folder, "cannot synchronise");
}

std::string partial_ending()
{
    return fmt::format(".partial-{}", ::getpid());
}

void remove_partial_files()
{
    const std::lock_guard held(partial_guard);
    for (const std::string& path : partial_files) ::unlink(path.c_str());
}

}  // namespace iocache::tools
