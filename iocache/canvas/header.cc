// The header of a new file: every field from the record, the configured sizes, the environment and the clock.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>

#include "iocache/canvas/canvas.h"

namespace {

using namespace iocache::canvas;

constexpr int16_t picture_image_kind = 3;
constexpr int16_t picture_mark = 64;
constexpr float dots_per_millimetre = 12.0F;
constexpr double tone_low = 0.3;
constexpr double tone_mid = 1.0;
constexpr double tone_high = 1.7;

template <size_t n> void put_text(char (&field)[n], const char* text)
{
    std::snprintf(field, n, "%s", text);
}

void put_bounds(cv_header& header, const cv_geometry& view)
{
    header.x_min = header.orig_x_min = static_cast<int16_t>(view.x_min);
    header.x_max = header.orig_x_max = static_cast<int16_t>(view.x_max);
    header.y_min = header.orig_y_min = static_cast<int16_t>(view.y_min);
    header.y_max = header.orig_y_max = static_cast<int16_t>(view.y_max);
    header.x_offset = view.x_offset;
    header.y_offset = view.y_offset;
    header.width = view.width;
    header.height = view.height;
    header.x_resolution = header.y_resolution = dots_per_millimetre;
    header.x_size = static_cast<float>(view.width) / dots_per_millimetre;
    header.y_size = static_cast<float>(view.height) / dots_per_millimetre;
}

// What belongs to the host application's view of the file; never read back by the library.
void put_constants(cv_header& header, bool is_picture)
{
    header.reserved_016 = 3;
    header.reserved_018 = 1;
    header.reserved_022 = is_picture ? picture_mark : int16_t{0};
    put_text(header.gamma_text, "2.2");
    put_text(header.red_xyz, red_xyz_text.data());
    put_text(header.green_xyz, "0.28  0.6056  0.1144");
    put_text(header.blue_xyz, "0.1528  0.0645  0.7827");
    put_text(header.white_xyz, "0.9530  1.0  0.9305");
    put_text(header.aspect_tag, "vexaaspect");
    put_text(header.color_model, "cmyk");
    header.color_model_letter = 'C';
    header.x_unit = 'M';
    header.y_unit = 'M';
    header.tone_low = tone_low;
    header.tone_mid = tone_mid;
    header.tone_high = tone_high;
}

// Month, day, hh:mm and year of now, one blank between.
void put_date(char (&field)[20])
{
    const std::time_t now = std::time(nullptr);
    char month[8] = "";
    char day[8] = "";
    char clock[8] = "";
    char year[8] = "";
    const char* const text = std::ctime(&now);
    if (text == nullptr) return;  // a clock beyond any calendar: the field stays empty
    std::sscanf(text, "%*s %7s %7s %5[0-9:]%*[0-9:] %7s", month, day, clock, year);
    std::snprintf(field, sizeof field, "%.3s %.2s %.5s %.6s", month, day, clock, year);
}

// User first, date second: a long user name runs into the date's field and the date overwrites it there.
void put_origin(cv_header& header)
{
    gethostname(header.host_name, sizeof header.host_name);
    const char* const user = std::getenv("USER");
    char user_and_date[sizeof header.user + sizeof header.date] = "";
    std::snprintf(user_and_date, sizeof user_and_date, "%s", user != nullptr ? user : "");
    std::memcpy(header.user, user_and_date, sizeof header.user);
    std::memcpy(header.date, user_and_date + sizeof header.user, sizeof header.date);
    put_date(header.date);
    std::memcpy(header.create_user, header.user, sizeof header.create_user);
    std::memcpy(header.create_date, header.date, sizeof header.create_date);
    std::memcpy(header.header_part, HeaderPart, sizeof header.header_part);
}

// The regions' sizes and the chain of their offsets. False when a size does not fit its 32 bits.
bool put_regions(cv_header& header, const cv_canvas& record)
{
    constexpr int64_t most = std::numeric_limits<int32_t>::max();
    const bool is_picture = record.kind == picture_kind;
    const int64_t icon = round_up_region(int64_t{header.icon_width} * header.icon_height * record.bytes_per_pixel);
    const int64_t ink = is_picture ? ink_bytes : 0;
    const int64_t tqcms = is_picture ? tqcms_bytes : 0;
    const int64_t reduced = record.geom_orig.subsampled != 0 ? reduced_image_bytes(record) : 0;
    const int64_t table = round_up_region(tile_count(record) * int64_t{sizeof(int32_t)});
    if (icon < 0 || icon_region_offset + icon + ink + tqcms + reduced + table > most) return false;

    header.header_bytes = header_bytes;
    header.icon_bytes = static_cast<int32_t>(icon);
    header.ink_bytes = static_cast<int32_t>(ink);
    header.tqcms_bytes = static_cast<int32_t>(tqcms);
    header.subsampled_bytes = static_cast<int32_t>(reduced);
    header.tile_table_bytes = static_cast<int32_t>(table);
    header.icon_offset = icon_region_offset;
    header.ink_offset = header.icon_offset + header.icon_bytes;
    header.tqcms_offset = header.ink_offset + header.ink_bytes;
    header.subsampled_offset = header.tqcms_offset + header.tqcms_bytes;
    header.tile_table_offset = header.subsampled_offset + header.subsampled_bytes;
    header.tiles_offset = header.tile_table_offset + header.tile_table_bytes;
    return true;
}

}  // namespace

int32_t cv_create_header(cv_canvas* canvas)
{
    if (canvas->kind != mask_kind && canvas->kind != picture_kind) return -255;
    const bool is_picture = canvas->kind == picture_kind;
    const bool has_reduced_image = canvas->geom_orig.subsampled != 0;
    cv_header& header = *canvas->header;
    header = {};

    put_bounds(header, canvas->geom_orig);
    put_constants(header, is_picture);
    put_origin(header);
    header.image_kind = is_picture ? picture_image_kind : int16_t{0};
    header.has_subsampled = header.has_subsampled2 = has_reduced_image ? 1 : 0;
    header.icon_width = static_cast<int16_t>(cv_iconsize_hor);
    header.icon_height = static_cast<int16_t>(cv_iconsize_vert);
    header.tile_width = static_cast<int16_t>(canvas->tile_width);
    header.tile_height = static_cast<int16_t>(canvas->tile_height);
    header.tiles_across = static_cast<int16_t>(canvas->tiles_across);
    header.tiles_down = static_cast<int16_t>(canvas->tiles_down);
    header.tile_bytes = canvas->tile_bytes;
    header.scale = canvas->geom_orig.scale;
    header.magic = magic_number;
    header.version_filetype = current_version;
    return put_regions(header, *canvas) ? 0 : -255;
}
