// Opening a canvas file: header, icon and tile table into a new record, the geometry rebuilt, the file checked and,
// when it was not closed, repaired; other layouts go to the converters first. Client only.
//
// Asymmetries with creation that are meant: only more pixels than the limit are refused, not equality; only the tile
// width is compared, for masks too; several steps share a result; "File not readable" answers -255.

#include <algorithm>
#include <cstdlib>
#include <string>

#include "iocache/canvas/canvas.h"
#include "iocache/canvas/open_checks.h"
#include "iocache/canvas/undo.h"
#include "iocache/platform/platform.h"
#include "iocache/setup/setup.h"

namespace {

using namespace iocache;
using namespace iocache::canvas;
using setup::fail;
using setup::failure;

// clang-format off
//                                result  error   message
constexpr failure not_readable     {-255, 999120, "File not readable"};
constexpr failure no_free_slot       {-1, 999121, "Create canvas : No more canvasses available !"};
constexpr failure no_record          {-4, 999122, "Create canvas : malloc problem"};
constexpr failure no_header          {-5, 999123, "Create canvas : malloc problem"};
constexpr failure cannot_open        {-7, 999124, "Create canvas : cannot open the file"};
constexpr failure header_not_read    {-8, 999125, "Create canvas : cannot read header"};
constexpr failure no_icon            {-9, 999126, "Create canvas : malloc problem"};
constexpr failure icon_not_read     {-10, 999127, "Create canvas : cannot read icon"};
constexpr failure no_tile_table     {-14, 999128, "Create canvas : malloc problem"};
constexpr failure table_not_read    {-15, 999129, "Create canvas : cannot read tile table"};
constexpr failure too_many_pixels   {-16, 999130, "Create canvas : resolution to big for this configuration"};
constexpr failure other_tile_size   {-96, 999930, "Create canvas : tilesize not equal to standard for cmyk"};
constexpr failure no_tile_cache     {-13, 999131, "Create canvas : malloc problem"};
constexpr failure no_tile_flags     {-16, 999132, "Create canvas : malloc problem"};
constexpr failure wrong_size        {-80, 999400, "File is corrupted : size is not correct"};
constexpr failure wrong_table       {-80, 999400, "File is corrupted : tile table is not correct"};
constexpr failure not_transformed  {-255, 999133, "Error in transformation of version_filetype = 1"};
// clang-format on

enum class may_convert { yes, no };  // a converted file is opened once more, never converted again

int32_t open_canvas(const char* path, may_convert conversion);

template <class Item> bool allocate(Item*& target, int64_t bytes)
{
    target = static_cast<Item*>(platform_allocate(bytes));
    return target != nullptr;
}

extent bounds_of(const cv_header& header)
{
    return {header.x_min, header.y_min, header.x_max, header.y_max, header.x_offset, header.y_offset};
}

// No message here: the converter has told the host what went wrong.
int32_t convert_and_open(const std::string& path, may_convert conversion)
{
    if (conversion == may_convert::no || cv_convert_old_file(path.c_str()) == -255) return -255;
    return open_canvas(path.c_str(), may_convert::no);
}

// Version-1 masks are transformed; a version-1 picture and any other version is taken as it is.
int32_t bring_up_to_date(int32_t number)
{
    const cv_canvas& record = *canvastable[number];
    if (record.header->version_filetype != older_version || record.kind != mask_kind) return number;
    const int32_t transformed = cv_transform_v1_to_v10(number);
    if (transformed >= 0) return transformed;
    if (cv_canvas* const untouched = find(number)) let_go(*untouched);
    return fail(not_transformed);
}

// Steps that fill an empty record from its file. 0, or the failing step's result, reported. Sets is_other_layout and
// answers 0 when the file has another layout.
int32_t load(cv_canvas& record, bool& is_other_layout)
{
    const int32_t number = record.index;
    if (!allocate(record.header, header_bytes)) return fail(no_header);
    if (canvas_open_file(number) == -255) return fail(cannot_open);
    if (cv_read_header(number) != 0) return fail(header_not_read);

    const cv_header& header = *record.header;
    is_other_layout = header.magic != magic_number;
    if (is_other_layout) return 0;
    if (!sizes_are_sane(header)) return fail(wrong_size);

    if (!allocate(record.icon, header.icon_bytes)) return fail(no_icon);
    if (cv_read_icon(number) != 0) return fail(icon_not_read);
    if (!allocate(record.tile_table, header.tile_table_bytes)) return fail(no_tile_table);
    if (cv_read_tile_table(number) != 0) return fail(table_not_read);

    const extent bounds = bounds_of(header);
    if (pixel_count(bounds) > cv_max_resolution) return fail(too_many_pixels);
    record.save = 1;
    set_format(record, header.image_kind != 0 ? picture_kind : mask_kind, header.tile_width, header.tile_height);
    if (header.tile_width != cv_tilesize_hor) return fail(other_tile_size);
    if (!set_geometry(record, bounds) || !table_holds_grid(record)) return fail(wrong_size);

    const int64_t tiles = tile_count(record);
    if (!allocate(record.tile_cache, tiles * int64_t{sizeof(cv_tile*)})) return fail(no_tile_cache);
    cv_set_dirtybits_mask(&record, 0);
    if (!allocate(record.tile_flags, tiles)) return fail(no_tile_flags);

    if (!file_holds_its_tiles(record)) return fail(wrong_size);
    if (!first_entries_are_slots(record)) return fail(wrong_table);
    forget_impossible_entries(record);
    return 0;
}

int32_t open_canvas(const char* path, may_convert conversion)
{
    const int32_t open_already = canvas_if_already_open(path);
    if (open_already >= 0) return open_already;

    if (cv_test_file(path, 0) != 0) return fail(not_readable);
    const int32_t slot = lowest_free_slot();
    if (slot < 0) return fail(no_free_slot);
    bool is_other_layout = false;
    {
        bool kept = false;
        cv_canvas* const record = canvastable[slot] = allocate_record(slot, path);
        if (record == nullptr) return fail(no_record);
        const undo free_slot{kept, [&] { canvastable[slot] = nullptr, release_record(record); }};
        const undo close_streams{kept, [&] { canvas_close_file(slot); }};
        const int32_t result = load(*record, is_other_layout);
        if (result != 0) return result;
        kept = !is_other_layout;
    }
    if (is_other_layout) return convert_and_open(path, conversion);

    if (canvastable[slot]->header->dirty == 1) cv_remake_dirty_file(slot);  // what it could not do is not told here
    return bring_up_to_date(slot);
}

}  // namespace

int32_t canvas_old_both(const char* path, int32_t /* ignored */)
{
    return open_canvas(path, may_convert::yes);
}

int32_t canvas_old(const char* path)
{
    return canvas_old_both(path, 0);
}

int32_t canvas_old_io(const char* path)
{
    return canvas_old_both(path, 1);
}
