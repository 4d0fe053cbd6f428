// The list of all steps, the simplest first.
#include "tests/model/steps.h"

namespace iocache_test {

const std::vector<step_kind>& step_kinds()
{
    static const std::vector<step_kind> all{
        {"create", 50, steps::create},
        {"store", 120, steps::store},
        {"load", 80, steps::load},
        {"ask_pixel", 30, steps::ask_pixel},
        {"mark", 25, steps::mark},
        {"close", 25, steps::close},
        {"open", 30, steps::open},
        {"flush_keep", 10, steps::flush_keep},
        {"flush", 10, steps::flush},
        {"flush_all", 5, steps::flush_all},
        {"drop", 6, steps::drop},
        {"prewrite", 8, steps::prewrite},
        {"meet", 6, steps::meet},
        {"request_pixel", 15, steps::request_pixel},
        {"ask_cutout", 8, steps::ask_cutout},
        {"request_tiles", 20, steps::request_tiles},
        {"load_beyond", 6, steps::load_beyond},
        {"store_beyond", 6, steps::store_beyond},
        {"hold", 12, steps::hold},
        {"release", 6, steps::release},
        {"query_place", 10, steps::query_place},
        {"query_existence", 12, steps::query_existence},
        {"rename", 8, steps::rename},
        {"create_several", 12, steps::create_several},
        {"copy", 5, steps::copy},
        {"open_again", 5, steps::open_again},
        {"blocks", 8, steps::blocks},
        {"clear_sides", 8, steps::clear_sides},
        {"resample", 6, steps::resample},
        {"update_tile", 6, steps::update_tile},
        {"sample_line", 5, steps::sample_line},
        {"icon", 4, steps::icon},
        {"show", 6, steps::show},
        {"remake", 4, steps::remake},
        {"window", 2, steps::window},
        {"close_3d", 4, steps::close_3d},
        {"zoom", 12, steps::zoom},
        {"unlink_zoom", 3, steps::unlink_zoom},
        {"disk_fills", 8, steps::disk_fills},
        {"disk_has_room", 8, steps::disk_has_room},
        {"restart", 3, steps::restart},
        {"quit", 3, steps::quit},
        {"kill", 6, steps::kill},
    };
    return all;
}

}  // namespace iocache_test
