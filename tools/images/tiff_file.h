// An open TIFF file, for reading and writing: libtiff's handle with a way to learn why something failed.
//
// A file that is read is mapped: libtiff then decodes strips straight from it, however long they are,
// instead of loading each into memory. forget_pages() hands the memory behind the mapping back; whoever
// reads calls it every few MiB.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <tiffio.h>

#include "tools/failure.h"
#include "tools/file.h"

namespace iocache::tools {

class tiff_file {
public:
    [[nodiscard]] static tiff_file open(const std::string& path);
    // `big` makes a BigTIFF, which alone can pass 4 GiB.
    [[nodiscard]] static tiff_file create(const std::string& path, bool big);

    [[nodiscard]] TIFF* handle() const { return handle_.get(); }

    // What libtiff said last, as a failure of reading or writing.
    [[nodiscard]] failure last_failure() const;
    void forget_pages();
    // Writes the directory and closes; throws `failure` when anything could not be written.
    void finish();

    // The value of a tag that has one value, its default, or `otherwise`.
    template <class Number> [[nodiscard]] Number field(std::uint32_t tag, Number otherwise) const
    {
        Number value{};
        return TIFFGetFieldDefaulted(handle_.get(), tag, &value) != 0 ? value : otherwise;
    }

private:
    struct state {
        std::string path;
        file_descriptor file;
        void* mapped = nullptr;
        std::size_t mapped_bytes = 0;
        std::string text;     // the last failure
        int write_error = 0;  // errno of the last write that failed
    };
    struct closer {
        void operator()(TIFF* handle) const { TIFFClose(handle); }
    };
    std::unique_ptr<state> state_;  // libtiff holds its address; outlives the handle
    std::unique_ptr<TIFF, closer> handle_;

    tiff_file(std::unique_ptr<state> opened, const char* mode);

    static tmsize_t read(thandle_t client, void* buffer, tmsize_t bytes);
    static tmsize_t write(thandle_t client, void* buffer, tmsize_t bytes);
    static toff_t seek(thandle_t client, toff_t offset, int whence);
    static toff_t size(thandle_t client);
    static int close(thandle_t client);
    static int map(thandle_t client, void** base, toff_t* bytes);
    static void unmap(thandle_t client, void* base, toff_t bytes);
    static int report(TIFF* handle, void* user, const char* module, const char* format, std::va_list arguments);
    static int ignore(TIFF* /*handle*/, void* /*user*/, const char* /*module*/, const char* /*format*/,
                      std::va_list /*arguments*/)
    {
        return 1;
    }
};

}  // namespace iocache::tools
