// The calls libtiff makes to reach the file.
#include "tools/images/tiff_file.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace iocache::tools {

namespace {

// No honest file makes libtiff ask for more at once; what a hostile one claims is refused.
constexpr tmsize_t largest_allocation = tmsize_t{32} << 20;

struct options_deleter {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

}  // namespace

tiff_file::tiff_file(std::unique_ptr<state> opened, const char* mode) : state_(std::move(opened))
{
    const std::unique_ptr<TIFFOpenOptions, options_deleter> options(TIFFOpenOptionsAlloc());
    if (!options) throw std::bad_alloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), largest_allocation);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), report, state_.get());
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignore, state_.get());
    handle_.reset(TIFFClientOpenExt(state_->path.c_str(), mode, state_.get(), read, write, seek, close, size, map,
                                    unmap, options.get()));
    if (!handle_) throw last_failure();
}

tiff_file tiff_file::open(const std::string& path)
{
    auto opened = std::make_unique<state>();
    opened->path = path;
    opened->file = open_for_reading(path);
    return {std::move(opened), "r"};
}

tiff_file tiff_file::create(const std::string& path, bool big)
{
    auto opened = std::make_unique<state>();
    opened->path = path;
    opened->file = file_descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (opened->file.get() < 0) throw system_failure(path, "cannot create");
    return {std::move(opened), big ? "w8" : "w4"};
}

failure tiff_file::last_failure() const
{
    const exit_code code = is_no_room(state_->write_error) ? exit_code::no_room : exit_code::not_readable;
    return {code, state_->path + ": " + (state_->text.empty() ? "libtiff failed" : state_->text)};
}

void tiff_file::forget_pages()
{
    if (state_->mapped != nullptr) ::madvise(state_->mapped, state_->mapped_bytes, MADV_DONTNEED);
}

void tiff_file::finish()
{
    state_->text.clear();
    const bool written = TIFFWriteDirectory(handle_.get()) != 0 && TIFFFlush(handle_.get()) != 0;
    handle_.reset();
    if (!written || !state_->text.empty()) throw last_failure();
    if (!state_->file.close()) throw system_failure(state_->path, "cannot write");
}

tmsize_t tiff_file::read(thandle_t client, void* buffer, tmsize_t bytes)
{
    const int file = static_cast<state*>(client)->file.get();
    auto* const target = static_cast<std::uint8_t*>(buffer);
    tmsize_t done = 0;
    while (done < bytes) {
        const ssize_t count = ::read(file, target + done, static_cast<std::size_t>(bytes - done));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return -1;
        if (count == 0) break;
        done += count;
    }
    return done;
}

tmsize_t tiff_file::write(thandle_t client, void* buffer, tmsize_t bytes)
{
    auto& self = *static_cast<state*>(client);
    const auto* const source = static_cast<const std::uint8_t*>(buffer);
    tmsize_t done = 0;
    while (done < bytes) {
        const ssize_t count = ::write(self.file.get(), source + done, static_cast<std::size_t>(bytes - done));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) {
            // libtiff only says that it failed; this is why.
            self.write_error = errno;
            self.text = std::error_code(self.write_error, std::generic_category()).message();
            return -1;
        }
        done += count;
    }
    return done;
}

toff_t tiff_file::seek(thandle_t client, toff_t offset, int whence)
{
    return static_cast<toff_t>(::lseek(static_cast<state*>(client)->file.get(), static_cast<off_t>(offset), whence));
}

toff_t tiff_file::size(thandle_t client)
{
    struct stat status {};
    return ::fstat(static_cast<state*>(client)->file.get(), &status) == 0 ? static_cast<toff_t>(status.st_size) : 0;
}

// The descriptor is closed by finish(), which looks at the result, or with the state.
int tiff_file::close(thandle_t /*client*/)
{
    return 0;
}

int tiff_file::map(thandle_t client, void** base, toff_t* bytes)
{
    auto& self = *static_cast<state*>(client);
    const toff_t whole = size(client);
    void* const mapped = ::mmap(nullptr, whole, PROT_READ, MAP_PRIVATE, self.file.get(), 0);
    if (mapped == MAP_FAILED) return 0;
    *base = self.mapped = mapped;
    *bytes = self.mapped_bytes = whole;
    return 1;
}

void tiff_file::unmap(thandle_t client, void* base, toff_t bytes)
{
    ::munmap(base, bytes);
    static_cast<state*>(client)->mapped = nullptr;
}

int tiff_file::report(TIFF* /*handle*/, void* user, const char* /*module*/, const char* format, std::va_list arguments)
{
    auto& text = static_cast<state*>(user)->text;
    std::array<char, 512> line{};
    std::vsnprintf(line.data(), line.size(), format, arguments);
    if (text.empty()) text = line.data();  // the first reason is the one to tell
    return 1;                              // nobody else needs to hear of it
}

}  // namespace iocache::tools
