// A file without a name, mapped shared: the system writes its pages out when memory is wanted.
#include "tools/scratch_file.h"

#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <fmt/format.h>

#include "tools/failure.h"

namespace iocache::tools {

namespace {

constexpr std::size_t forget_after = std::size_t{8} << 20;

file_descriptor nameless_file(const std::string& folder)
{
    file_descriptor file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file.get() >= 0) return file;
    // Not every file system makes files without a name: take the name away at once instead.
    std::string name = folder + "/.iocache-XXXXXX";
    file = file_descriptor(::mkostemp(name.data(), O_CLOEXEC));
    if (file.get() < 0) throw system_failure(folder, "cannot make a temporary file");
    ::unlink(name.c_str());
    return file;
}

}  // namespace

scratch_file::scratch_file(const std::string& folder, std::size_t bytes) : file_(nameless_file(folder)), size_(bytes)
{
    if (const int error = ::posix_fallocate(file_.get(), 0, static_cast<off_t>(bytes)); error != 0) {
        errno = error;
        if (is_no_room(error)) {
            throw failure(
                exit_code::no_room,
                fmt::format("{}: would not fit: decoding this image needs {} bytes of temporary room", folder, bytes));
        }
        throw system_failure(folder, "cannot reserve temporary room");
    }
    void* const mapped = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file_.get(), 0);
    if (mapped == MAP_FAILED) throw system_failure(folder, "cannot map a temporary file");
    address_ = static_cast<std::uint8_t*>(mapped);
}

scratch_file::~scratch_file()
{
    ::munmap(address_, size_);
}

void scratch_file::forget_pages()
{
    ::madvise(address_, size_, MADV_DONTNEED);
    walked_since_ = 0;
}

void scratch_file::walked(std::size_t step)
{
    walked_since_ += step;
    if (walked_since_ >= forget_after) forget_pages();
}

}  // namespace iocache::tools
