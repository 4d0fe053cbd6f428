// The system calls themselves.
#include "bench/support/raw_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "bench/support/fail.h"

namespace iocache_bench {

raw_file::raw_file(const std::filesystem::path& path, purpose what)
    : descriptor_(::open(path.c_str(), what == purpose::read ? O_RDONLY | O_CLOEXEC : O_RDWR | O_CREAT | O_CLOEXEC,
                         S_IRUSR | S_IWUSR))
{
    if (descriptor_ < 0) fail("cannot open " + path.string());
}

raw_file::~raw_file()
{
    ::close(descriptor_);
}

void raw_file::read(std::span<uint8_t> bytes, int64_t offset) const
{
    while (!bytes.empty()) {
        const ssize_t got = ::pread(descriptor_, bytes.data(), bytes.size(), offset);
        if (got <= 0) fail("a read came out short");
        bytes = bytes.subspan(static_cast<size_t>(got));
        offset += got;
    }
}

void raw_file::write(std::span<const uint8_t> bytes, int64_t offset) const
{
    while (!bytes.empty()) {
        const ssize_t put = ::pwrite(descriptor_, bytes.data(), bytes.size(), offset);
        if (put <= 0) fail("a write came out short");
        bytes = bytes.subspan(static_cast<size_t>(put));
        offset += put;
    }
}

void raw_file::synchronise() const
{
    if (::fsync(descriptor_) != 0) fail("cannot synchronise a file");
}

void raw_file::forget_pages() const
{
    synchronise();
    if (::posix_fadvise(descriptor_, 0, 0, POSIX_FADV_DONTNEED) != 0) fail("the page cache keeps a file");
}

page_memory::page_memory(int64_t bytes, pages wanted) : bytes_(static_cast<size_t>(bytes))
{
    void* const memory = ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) fail("no memory");
    if (wanted == pages::huge) ::madvise(memory, bytes_, MADV_HUGEPAGE);
    data_ = static_cast<uint8_t*>(memory);
}

page_memory::~page_memory()
{
    ::munmap(data_, bytes_);
}

}  // namespace iocache_bench
