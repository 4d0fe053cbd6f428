#include "tests/reliability/noted_writes.h"

#include <iocache/iocache.h>

#include "tests/support/real_function.h"

namespace {

iocache_test::oracle* noted = nullptr;

size_t number_of(const cv_tile& tile)
{
    return static_cast<size_t>(tile.y) * static_cast<size_t>(tile.canvas->tiles_across) + static_cast<size_t>(tile.x);
}

}  // namespace

void iocache_test::note_writes_in(oracle* notes)
{
    noted = notes;
}

// In the library's place: the cache calls this one.
extern "C" IOCACHE_API int32_t cv_write_tile(cv_tile* tile)
{
    using namespace iocache_test;
    static auto* const forward = iocache_test::real<decltype(cv_write_tile)>("cv_write_tile");
    if (noted == nullptr) return forward(tile);
    oracle::tile& note = noted->tiles.at(number_of(*tile));
    const uint64_t content = content_number({tile->buffer, static_cast<size_t>(tile->size)});
    if (note.written == 0) ++noted->appends;
    ++noted->writes;
    note.on_its_way = content;
    const int32_t result = forward(tile);
    if (result == 0) {
        note.written = content;
        note.on_its_way = 0;
    }
    return result;
}
