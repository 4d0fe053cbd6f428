// Turning an open version-1 canvas into a current one. Its tiles are not copied: each entry in memory moves to the new
// canvas and is written from there into a new slot. Client only.

#include <cstring>
#include <string>

#include "iocache/cache/cache.h"
#include "iocache/canvas/canvas.h"
#include "iocache/convert/move_tile.h"
#include "iocache/convert/reduced_in_rbuf.h"
#include "iocache/convert/replace_file.h"
#include "iocache/setup/setup.h"

namespace {

using namespace iocache;

constexpr setup::failure no_new_name{-255, 999147, "maximum number of default canvasses is reached"};

// The configured sizes of new canvases, to be put back.
class configured_sizes {
public:
    void put_back() const
    {
        cv_tilesize_hor = tile_width_;
        cv_tilesize_vert = tile_height_;
        cv_iconsize_hor = icon_width_;
        cv_iconsize_vert = icon_height_;
    }

private:
    int32_t tile_width_ = cv_tilesize_hor;
    int32_t tile_height_ = cv_tilesize_vert;
    int32_t icon_width_ = cv_iconsize_hor;
    int32_t icon_height_ = cv_iconsize_vert;
};

void configure_like(const cv_canvas& old)
{
    cv_tilesize_hor = old.tile_width;
    cv_tilesize_vert = old.tile_height;
    cv_iconsize_hor = old.header->icon_width;
    cv_iconsize_vert = old.header->icon_height;
}

// What still refers to the old canvas would refer to nothing.
bool may_be_closed(const cv_canvas& record)
{
    return record.open_zooms == 0 && record.busy != 1;
}

// A tile of one grid is a tile of the other: same place, same size.
bool grids_agree(const cv_canvas& a, const cv_canvas& b)
{
    return a.tiles_across == b.tiles_across && a.tiles_down == b.tiles_down && a.tile_width == b.tile_width &&
           a.tile_height == b.tile_height && a.tile_bytes == b.tile_bytes;
}

// Every tile that exists, in order. False when one cannot be had.
bool move_tiles(cv_canvas& old, cv_canvas& fresh)
{
    const cv_geometry& view = old.geom_orig;
    for (int64_t y = 0; y <= view.y_max;) {
        for (int64_t x = 0; x <= view.x_max;) {
            cv_tile_request& request = parg.req[0];
            request.canvas = old.index;
            request.x = static_cast<int32_t>(x);
            request.y = static_cast<int32_t>(y);
            request.x_end = view.x_max;
            request.y_end = view.y_max;
            request.write = 1;
            parg.opcode = 1;
            if (cv_if_tile_exist() == 0) {
                if (cv_tile_access() != 0) return false;
                const int32_t tile = convert::move_tile(*request.tile, old, fresh);
                convert::update_reduced_image(fresh, tile);  // leaves the request as it was
            }
            x += request.run_x;
        }
        y += parg.req[0].run_y;
    }
    return true;
}

// Moves everything and has it in the new file; only then may the old one go. What the host changed before goes to the
// old file first, which is then complete whatever happens.
bool transform(cv_canvas& old, cv_canvas& fresh)
{
    if (!may_be_closed(old) || !grids_agree(old, fresh) || cv_flush_tiles_keep(old.index) != 0) return false;
    const int64_t unwritten_before = cache::tiles_left_unwritten();
    canvas_make_tables(fresh.index);
    MP_memset(Rbuf, 0, cv_max_lres_hor * 4, cv_max_lres_vert);
    return move_tiles(old, fresh) && convert::store_reduced_image_and_icon(fresh) &&
           cv_flush_tiles_keep(fresh.index) == 0 && cache::tiles_left_unwritten() == unwritten_before;
}

// The new file takes the old one's name, and both records follow: closing the old canvas must not delete the file that
// has its name now. False, with both files where they were, when the file cannot be moved.
bool take_name(cv_canvas& old, cv_canvas& fresh, const std::string& old_name)
{
    const std::string new_name = fresh.file_name;
    if (!canvas::set_file_name(old, new_name.c_str())) return false;
    if (convert::replace_file(new_name.c_str(), old_name.c_str()) == 0) return true;
    canvas::set_file_name(old, old_name.c_str());
    return false;
}

// The new canvas goes with its file; what of the old one was in memory is in its file.
int32_t give_up(int32_t number)
{
    canvas_close(number);
    if (current_canvas >= 0) canvas_make_tables(current_canvas);
    return -255;
}

}  // namespace

int32_t cv_transform_v1_to_v10(int32_t canvas)
{
    cv_canvas* const old = canvas::find(canvas);
    if (old == nullptr) return -255;
    const configured_sizes before;
    configure_like(*old);
    const char* const name = canvas_create_new_filename(old->kind);
    if (name == nullptr) return setup::fail(no_new_name);  // the sizes are not put back here, as hosts expect

    const cv_geometry view = old->geom_orig;
    const bool is_taken = canvas_if_already_open(name) >= 0;
    const int32_t number =
        is_taken ? -255 : canvas_new(name, old->kind, 0, 0, view.x_max, view.y_max, view.x_offset, view.y_offset);
    before.put_back();
    if (number < 0) return -255;

    cv_canvas& fresh = *canvastable[number];
    const std::string old_name = old->file_name;
    if (!transform(*old, fresh) || !take_name(*old, fresh, old_name)) return give_up(number);
    fresh.save = old->save;
    old->save = 0;
    canvas_close(canvas);
    const int32_t followed = canvas::follow_file(fresh, old_name.c_str());
    canvas_make_tables(current_canvas);
    return followed == 0 ? number : followed;
}
