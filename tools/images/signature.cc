// The signatures.
#include "tools/images/signature.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>

#include "tools/failure.h"
#include "tools/file.h"

namespace iocache::tools {

image_sort sort_of(const std::array<std::uint8_t, signature_bytes>& file)
{
    const auto begins_with = [&](std::initializer_list<std::uint8_t> bytes) {
        return std::equal(bytes.begin(), bytes.end(), file.begin());
    };
    if (begins_with({0xFF, 0xD8, 0xFF})) return image_sort::jpeg;
    if (begins_with({0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'})) return image_sort::png;
    // Classic TIFF is 42, BigTIFF 43, in the byte order that the first two letters name.
    if (begins_with({'I', 'I', 42, 0}) || begins_with({'I', 'I', 43, 0}) || begins_with({'M', 'M', 0, 42}) ||
        begins_with({'M', 'M', 0, 43})) {
        return image_sort::tiff;
    }
    return image_sort::none;
}

image_sort sort_of_file(const std::string& path)
{
    std::array<std::uint8_t, signature_bytes> bytes{};
    const file_stream file = open_input(path);
    if (std::fread(bytes.data(), 1, bytes.size(), file.get()) == 0 && std::ferror(file.get()) != 0)
        throw system_failure(path, "cannot read");
    return sort_of(bytes);
}

const char* name_of(image_sort sort)
{
    switch (sort) {
        case image_sort::tiff:
            return "TIFF";
        case image_sort::jpeg:
            return "JPEG";
        case image_sort::png:
            return "PNG";
        case image_sort::none:
            break;
    }
    return "";
}

}  // namespace iocache::tools
