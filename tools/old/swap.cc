// Links and renames.
#include "tools/old/swap.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/failure.h"
#include "tools/file.h"

namespace iocache::tools {

namespace {

failure name_is_taken(const std::string& path)
{
    return {exit_code::not_readable, path + ": the file exists already; it is left alone, and so is the old file"};
}

// False where files have one name only.
bool give_second_name(const std::string& path, const std::string& second)
{
    if (::link(path.c_str(), second.c_str()) == 0) return true;
    if (errno != EEXIST) return false;
    if (!is_same_file(path, second)) throw name_is_taken(second);
    return true;  // a killed run got as far
}

}  // namespace

void synchronise(const std::string& path)
{
    file_descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0 || ::fsync(file.get()) != 0) throw system_failure(path, "cannot bring to the disk");
}

bool is_same_file(const std::string& one, const std::string& other)
{
    struct stat first {};
    struct stat second {};
    return ::lstat(one.c_str(), &first) == 0 && ::lstat(other.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

void rename_to_free_name(const std::string& from, const std::string& to)
{
    int result = ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    if (result != 0 && errno == EINVAL) {
        // Not every file system can look and rename in one step.
        struct stat status {};
        if (::lstat(to.c_str(), &status) == 0) throw name_is_taken(to);
        result = std::rename(from.c_str(), to.c_str());
    }
    if (result == 0) return;
    if (errno == EEXIST) throw name_is_taken(to);
    throw system_failure(to, "cannot give a file this name");
}

void swap_in(const std::string& replacement, const std::string& path, const std::string& kept)
{
    const bool has_two_names = give_second_name(path, kept);
    if (!has_two_names) rename_to_free_name(path, kept);
    synchronise(folder_of(path));  // or a power cut could lose this name and keep the next one
    if (std::rename(replacement.c_str(), path.c_str()) != 0) {
        const int error = errno;
        if (has_two_names) {
            ::unlink(kept.c_str());
        } else {
            std::rename(kept.c_str(), path.c_str());
        }
        errno = error;
        throw system_failure(path, "cannot be replaced");
    }
    synchronise(folder_of(path));
}

}  // namespace iocache::tools
