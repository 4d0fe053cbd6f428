// One function a file region: where the header says it lies, and its place in memory. Headers and tile tables change
// their byte order here and nowhere else.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <span>

#include "iocache/access/access.h"
#include "iocache/canvas/canvas.h"
#include "iocache/platform/platform.h"
#include "iocache/setup/setup.h"

iocache::platform::inherited_mutex iocache::canvas::header_guard;

namespace {

using namespace iocache;
using namespace iocache::canvas;

using write_function = int32_t (*)(cv_canvas*, int64_t, const void*, int32_t);

// The transfer alone is done under the guard. Its failure is told behind it: a host may do anything when it is told.
int32_t write_header_with(int32_t number, transfer_outcome (*write)(cv_canvas&, int64_t, const void*, int32_t),
                          int32_t (*tell)(const cv_canvas&, transfer_outcome))
{
    cv_canvas* const record = find(number);
    if (record == nullptr) return -255;
    transfer_outcome result = transfer_outcome::done;
    {
        const std::lock_guard held(header_guard);
        std::array<uint8_t, header_bytes> image;
        std::memcpy(image.data(), record->header, image.size());
        swap_header(image);
        result = write(*record, 0, image.data(), header_bytes);
    }
    return tell(*record, result);
}

struct free_memory {
    void operator()(void* memory) const { std::free(memory); }
};

int32_t write_table_with(int32_t number, write_function write)
{
    cv_canvas* const record = find(number);
    if (record == nullptr) return -255;
    const int32_t bytes = record->header->tile_table_bytes;
    const std::unique_ptr<int32_t, free_memory> image(static_cast<int32_t*>(platform_allocate(bytes)));
    if (image == nullptr) return -255;
    const std::span entries(image.get(), static_cast<size_t>(bytes) / sizeof(int32_t));
    std::memcpy(image.get(), record->tile_table, entries.size_bytes());
    swap_table(entries);
    return write(record, record->header->tile_table_offset, image.get(), bytes);
}

// The library's own buffer for this canvas's reduced image.
std::span<uint8_t> visualisation_buffer(const cv_canvas& record)
{
    return record.kind == picture_kind ? std::span<uint8_t>(cv_visu_pic) : std::span<uint8_t>(cv_visu_mask);
}

int32_t refuse_transfer(const cv_canvas& record, int32_t error, const char* verb)
{
    setup::report(error, setup::format_message("%s failed on %d %s\n", verb, record.index, record.base_name));
    return -255;
}

constexpr int32_t read_failed = 999203;
constexpr int32_t write_failed = 999208;

// A region that a header claims to be larger than its image would be written from beyond the buffer.
int32_t write_subsampled_from(cv_canvas& record, const uint8_t* source, int64_t source_bytes)
{
    const cv_header& header = *record.header;
    if (header.subsampled_bytes == 0) return -255;
    if (header.subsampled_bytes > source_bytes) return refuse_transfer(record, write_failed, "write");
    return cv_write(&record, header.subsampled_offset, source, header.subsampled_bytes);
}

}  // namespace

int32_t cv_read_header(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;
    std::array<uint8_t, header_bytes> image;
    const int32_t result = cv_read(record, 0, image.data(), header_bytes);
    if (result != 0) return result;
    swap_header(image);
    const std::lock_guard held(header_guard);
    std::memcpy(record->header, image.data(), image.size());
    return 0;
}

int32_t cv_write_header(int32_t canvas)
{
    return write_header_with(canvas, write_once, tell_of_write_once);
}

int32_t cv_write_header2(int32_t canvas)
{
    return write_header_with(canvas, write_kept_open, tell_of_write_kept_open);
}

int32_t cv_read_icon(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;
    return cv_read(record, record->header->icon_offset, record->icon, record->header->icon_bytes);
}

int32_t cv_write_icon(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;
    return cv_write(record, record->header->icon_offset, record->icon, record->header->icon_bytes);
}

int32_t cv_read_subsampled(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;
    const std::span<uint8_t> target = visualisation_buffer(*record);
    if (record->header->subsampled_bytes > static_cast<int64_t>(target.size()))
        return refuse_transfer(*record, read_failed, "read");
    return cv_read_subsampled_buffer(record, target.data());
}

int32_t cv_read_subsampled_buffer(cv_canvas* canvas, void* buffer)
{
    return cv_read(canvas, canvas->header->subsampled_offset, buffer, canvas->header->subsampled_bytes);
}

int32_t cv_write_subsampled(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;
    const std::span<uint8_t> source = visualisation_buffer(*record);
    return write_subsampled_from(*record, source.data(), static_cast<int64_t>(source.size()));
}

int32_t cv_write_subsampled_Rbuf(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    return record == nullptr ? -255 : write_subsampled_from(*record, Rbuf, reduced_image_bytes(*record));
}

int32_t cv_read_tile_table(int32_t canvas)
{
    cv_canvas* const record = find(canvas);
    if (record == nullptr) return -255;
    const int32_t bytes = record->header->tile_table_bytes;
    const int32_t result = cv_read(record, record->header->tile_table_offset, record->tile_table, bytes);
    if (result == 0) swap_table({record->tile_table, static_cast<size_t>(bytes) / sizeof(int32_t)});
    return result;
}

int32_t cv_write_tile_table(int32_t canvas)
{
    return write_table_with(canvas, cv_write);
}

int32_t cv_write_tile_table2(int32_t canvas)
{
    return write_table_with(canvas, cv_write2);
}

int32_t cv_read_tile(cv_tile* tile)
{
    return cv_read2(tile->canvas, tile->file_pos, tile->buffer, tile->size);
}

int32_t cv_write_tile(cv_tile* tile)
{
    return cv_write2(tile->canvas, tile->file_pos, tile->buffer, tile->size);
}
