// Opens, uses and closes a sound canvas file in which the input changes something.
//
// The first byte chooses the file: bit 0 picture or mask, bit 1 not closed, bit 2 of version 1. Changes follow, each two
// bytes of place (most significant first), one byte with the number of bytes, and the bytes. Places below 4096 are the
// header's own; from there on they lead into the tile table. What is left over is ignored. The file is cut to the length
// that a change at place 65535 gives, when there is one.
#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "fuzz/input_file.h"
#include "iocache/canvas/file_layout.h"

namespace {

using namespace iocache_fuzz;
namespace canvas = iocache::canvas;

constexpr int32_t width = 300;
constexpr int32_t height = 140;
constexpr size_t place_of_length = 65'535;

class originals {
public:
    originals() : library_(folder_.path())
    {
        for (const int32_t kind : {0, 1}) files_[static_cast<size_t>(kind)] = make(kind);
    }
    std::vector<uint8_t> of(int32_t kind) const { return files_[static_cast<size_t>(kind)]; }
    std::string path() const { return folder_.file("canvas"); }

private:
    scratch_folder folder_;
    quiet_library library_;
    std::array<std::vector<uint8_t>, 2> files_;

    std::vector<uint8_t> make(int32_t kind) const
    {
        const int32_t number = canvas_new(path().c_str(), kind, 0, 0, width - 1, height - 1, 10, 0);
        if (number < 0) std::abort();
        cv_mark_canvas_save(number);
        const std::vector<uint8_t> pixels(size_t{4} * width, 7);
        cv_storeline(number, pixels.data(), kind == 1 ? pixels.data() : nullptr, 5, 0, width - 1);
        canvas_close(number);
        std::vector<uint8_t> bytes(std::filesystem::file_size(path()));
        std::FILE* const file = std::fopen(path().c_str(), "rb");
        if (std::fread(bytes.data(), bytes.size(), 1, file) != 1) std::abort();
        std::fclose(file);
        std::filesystem::remove(path());
        return bytes;
    }
};

const originals& known()
{
    static const originals all;
    return all;
}

void put32(std::vector<uint8_t>& file, size_t place, uint32_t value)
{
    for (size_t i = 0; i < 4; ++i) file[place + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

std::vector<uint8_t> changed_file(std::span<const uint8_t> input)
{
    const uint8_t choice = input.front();
    std::vector<uint8_t> file = known().of(choice & 1);
    if ((choice & 2) != 0) put32(file, offsetof(cv_header, dirty), 1);
    if ((choice & 4) != 0) put32(file, offsetof(cv_header, version_filetype), 1);
    uint32_t table = 0;
    for (size_t i = 0; i < 4; ++i) table = table << 8 | file[offsetof(cv_header, tile_table_offset) + i];
    size_t length = file.size();
    for (size_t at = 1; at + 3 <= input.size();) {
        const size_t place = static_cast<size_t>(input[at]) << 8 | input[at + 1];
        const size_t count = std::min<size_t>(input[at + 2], input.size() - at - 3);
        const auto bytes = input.subspan(at + 3, count);
        at += 3 + count;
        if (place == place_of_length) {
            size_t wanted = 0;
            for (const uint8_t byte : bytes) wanted = wanted << 8 | byte;
            length = std::min(length, wanted);
            continue;
        }
        const size_t start = place < canvas::header_bytes ? place : table + place - canvas::header_bytes;
        if (start + count <= file.size())
            std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(start));
    }
    file.resize(length);
    return file;
}

void use(int32_t number)
{
    const cv_geometry view = canvastable[number]->geom_orig;
    std::vector<uint8_t> colour(4 * static_cast<size_t>(std::max(view.width, view.height)), 3);
    std::vector<uint8_t> alpha(static_cast<size_t>(std::max(view.width, view.height)), 3);
    for (const int32_t y : {view.y_min, view.y_min + view.height / 2, view.y_max}) {
        cv_getline(number, colour.data(), alpha.data(), y, view.x_min, view.x_max);
        cv_storeline(number, colour.data(), alpha.data(), y, view.x_min, view.x_max);
    }
    cv_getcolumn(number, colour.data(), alpha.data(), view.x_max, view.y_min, view.y_max);
    uint32_t pixel_alpha = 0;
    cv_ask_value_pixel(canvastable[number], view.x_max, view.y_max, &pixel_alpha);
    cv_read_subsampled(number);
    cv_write_icon(number);
    cv_tqcms_proc_get(number);
    cv_ink_color_def_get(number);
    cv_clear_side(number);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    known();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0) return 0;
    write_file(known().path(), changed_file({data, size}));
    const int32_t number = canvas_old(known().path().c_str());
    if (number >= 0) {
        use(number);
        canvas_close(number);
    }
    for (const cv_canvas* record : canvastable) {
        if (record != nullptr) std::abort();
    }
    return 0;
}
