// Turning a file of the older block format into a canvas of the same name: a new canvas is filled block by block,
// written to the disk, and only then takes the old file's place. Client only.
//
// Failures around the palette and the new name leave the old file open and the buffers allocated, as hosts expect.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"
#include "iocache/convert/block_file.h"
#include "iocache/convert/reduced_in_rbuf.h"
#include "iocache/convert/replace_file.h"
#include "iocache/platform/owned.h"
#include "iocache/setup/setup.h"

namespace {

using namespace iocache;
using namespace iocache::convert;
using setup::fail;
using setup::failure;

// clang-format off
//                                        result  error   message
constexpr failure no_header_buffer       {-255, 999134, "convert old file : malloc problem"};
constexpr failure cannot_open            {-255, 999135, "convert old file : open error"};
constexpr failure header_not_read        {-255, 999136, "convert old file : read error"};
constexpr failure no_mask_block          {-255, 999137, "convert old file : malloc problem"};
constexpr failure no_picture_block       {-255, 999138, "convert old file : malloc problem"};
constexpr failure no_seek_to_palette     {-255, 999139, "Seek failed on old file"};
constexpr failure no_palette             {-255, 999140, "malloc problem"};
constexpr failure direct_palette_not_read{-255, 999141, "read of old color palet failed"};
constexpr failure short_palette_not_read {-255, 999142, "read of old color palet failed"};
constexpr failure no_new_name            {-255, 999146, "maximum number of default canvasses is reached"};
constexpr failure not_created            {-255, 999143, "convert old file : cannot create canvas"};
constexpr failure no_seek_to_blocks      {-255, 999144, "convert old file : seek problem"};
constexpr failure block_not_read         {-255, 999145, "convert old file : read problem"};
// clang-format on

constexpr int32_t header_buffer_bytes = 4096;

using owned_buffer = platform::owned_memory<uint8_t>;

// An old file that is being read.
struct old_file {
    owned_buffer header;
    platform::owned_file stream;
    owned_buffer block;
    block_image image = {};

    bool seek(int64_t offset) const { return fseeko(stream.get(), offset, SEEK_SET) == 0; }
    bool read(uint8_t* target, int64_t bytes) const
    {
        return std::fread(target, static_cast<size_t>(bytes), 1, stream.get()) == 1;
    }
    // Only an ordinary file has a length; anything else holds no image.
    int64_t length() const
    {
        struct stat now = {};
        return fstat(fileno(stream.get()), &now) == 0 && S_ISREG(now.st_mode) ? now.st_size : -1;
    }
};

// Keeps the old file open and its buffers allocated for the rest of the process, as hosts expect.
int32_t fail_and_keep(const failure& what, old_file& file)
{
    static std::vector<old_file> kept_open;
    kept_open.push_back(std::move(file));
    return fail(what);
}

// Opens the file and reads its header. A file whose own numbers are impossible is not one of this format.
int32_t open_old_file(const char* path, old_file& file)
{
    file.header = platform::allocate<uint8_t>(header_buffer_bytes);
    if (file.header == nullptr) return fail(no_header_buffer);
    file.stream.reset(canvas::open_stream(path, "r+"));
    if (file.stream == nullptr) return fail(cannot_open);
    if (!file.read(file.header.get(), block_header_bytes)) return fail(header_not_read);
    file.image =
        parse_block_header(std::span<const uint8_t, block_header_bytes>(file.header.get(), size_t{block_header_bytes}));
    if (!file.image.is_possible()) return fail(header_not_read);
    file.block = platform::allocate<uint8_t>(file.image.block_bytes());
    if (file.block == nullptr) return fail(file.image.is_picture ? no_picture_block : no_mask_block);
    return 0;
}

int32_t read_palette(old_file& file)
{
    const block_image& image = file.image;
    if (!image.has_palette()) return 0;
    if (!file.seek(block_header_bytes)) return fail_and_keep(no_seek_to_palette, file);
    const int32_t palette_bytes = image.palette_entries * 4;
    owned_buffer palette = platform::allocate<uint8_t>(palette_bytes);
    std::vector<uint8_t> stored(static_cast<size_t>(image.palette_entries) * static_cast<size_t>(image.entry_bytes()));
    if (palette == nullptr) return fail_and_keep(no_palette, file);
    if (!file.read(stored.data(), static_cast<int64_t>(stored.size())))
        return fail_and_keep(image.is_direct ? direct_palette_not_read : short_palette_not_read, file);
    unpack_palette(image, stored, {palette.get(), static_cast<size_t>(palette_bytes)});
    cv_palet_ptr = palette.release();
    cv_palet_num_bytes = palette_bytes;
    return 0;
}

// A canvas that lost some of its header when the power went before it was ever closed: all zeros, or the beginning of a
// canvas and not the length of an old file. Converting it would destroy what is left of it.
bool is_rest_of_canvas(const old_file& file)
{
    const std::span header(file.header.get(), size_t{block_header_bytes});
    if (std::ranges::all_of(header, [](uint8_t byte) { return byte == 0; })) return true;
    const std::string_view text(reinterpret_cast<const char*>(&header[offsetof(cv_header, red_xyz)]),
                                canvas::red_xyz_text.size());
    return text == canvas::red_xyz_text && file.length() != file.image.file_bytes();
}

// A file that does not hold all of its blocks is found out here, with the report that reading them would give, and not
// when half of a new canvas has been filled.
int32_t find_blocks(const old_file& file)
{
    if (!file.seek(file.image.blocks_begin())) return fail(no_seek_to_blocks);
    if (file.length() < file.image.file_bytes()) return fail(block_not_read);
    return is_rest_of_canvas(file) ? fail(header_not_read) : 0;
}

// Blocks are copied whole, so that a tile must hold whole blocks.
bool tiles_hold_blocks()
{
    return cv_tilesize_hor % block_side == 0 && cv_tilesize_vert % block_side == 0;
}

// The new canvas, or a negative number. A name that is open as a canvas already would be written over.
int32_t create_canvas(const block_image& image, const char* name)
{
    if (!tiles_hold_blocks() || canvas_if_already_open(name) >= 0) return -255;
    return canvas_new(name, image.is_picture ? canvas::picture_kind : canvas::mask_kind, 0, 0, image.x_max, image.y_max,
                      0, 0);
}

int32_t tile_of(const cv_canvas& record, int32_t x, int32_t y)
{
    return (y >> record.tile_shift_y) * record.tiles_across + (x >> record.tile_shift_x);
}

bool copy_blocks(const old_file& file, const cv_canvas& record)
{
    const block_image& image = file.image;
    const std::span<const uint8_t> block(file.block.get(), static_cast<size_t>(image.block_bytes()));
    for (int32_t y = 0; y <= image.y_max; y += block_side) {
        for (int32_t x = 0; x <= image.x_max; x += block_side) {
            if (!file.read(file.block.get(), image.block_bytes())) return false;
            {
                cache::tile_visit visit(record.index, image.x_max, image.y_max, true);
                if (!visit.at(x, y)) return false;
                copy_block(image, block, visit.request().pixel, visit.request().line_bytes);
            }
            update_reduced_image(record, tile_of(record, x, y));
        }
    }
    return true;
}

// Closes an unmarked canvas, which takes its file along.
int32_t fail_and_remove(const failure& what, int32_t canvas)
{
    const int32_t result = fail(what);
    canvas_close(canvas);
    return result;
}

int32_t fill_canvas(const old_file& file, int32_t number)
{
    cv_canvas& record = *canvastable[number];
    canvas_make_tables(number);
    // Also for an image that is its own reduced image: its icon is made from Rbuf all the same.
    std::memset(Rbuf, 0, static_cast<size_t>(canvas::reduced_image_bytes(record)));
    if (!file.seek(file.image.blocks_begin())) return fail_and_remove(no_seek_to_blocks, number);
    if (!copy_blocks(file, record)) {
        const int32_t result = fail_and_remove(block_not_read, number);
        if (current_canvas >= 0) canvas_make_tables(current_canvas);
        return result;
    }
    return 0;
}

// Closes the canvas, kept if all of it got into its file; otherwise the file goes. `unwritten_before` is what
// tiles_left_unwritten() said before the first block.
bool close_written(int32_t number, int64_t unwritten_before)
{
    const bool has_images = store_reduced_image_and_icon(*canvastable[number]);
    cv_clear_side(number);
    const bool is_flushed = cv_flush_tiles_keep(number) == 0;
    const bool is_written = has_images && is_flushed && cache::tiles_left_unwritten() == unwritten_before;
    if (is_written) cv_mark_canvas_save(number);
    return canvas_close(number) == 0 && is_written;
}

int32_t convert_file(old_file& file, const std::string& new_name, const char* path)
{
    if (find_blocks(file) != 0) return -255;
    const int32_t number = create_canvas(file.image, new_name.c_str());
    if (number < 0) return fail(not_created);
    const int64_t unwritten_before = cache::tiles_left_unwritten();
    if (fill_canvas(file, number) != 0) return -255;
    file.stream.reset();
    if (!close_written(number, unwritten_before)) return fail(not_created);
    const int32_t result = replace_file(new_name.c_str(), path);
    if (result != 0) unlink(new_name.c_str());  // nobody would know of it
    return result;
}

}  // namespace

int32_t cv_convert_old_file(const char* path)
{
    cv_palet_num_bytes = 0;
    cv_palet_ptr = nullptr;

    old_file file;
    if (open_old_file(path, file) != 0) return -255;
    if (read_palette(file) != 0) return -255;
    const char* const name =
        canvas_create_new_filename(file.image.is_picture ? canvas::picture_kind : canvas::mask_kind);
    if (name == nullptr) return fail_and_keep(no_new_name, file);
    const std::string new_name = name;  // the host's storage may change

    const int32_t result = convert_file(file, new_name, path);
    if (result != 0) cv_free_palet();  // of an image that there is not
    return result;
}
