// The questions that opening asks of a file. None changes the file.
//
// What opening found wrong and does without is put right when the canvas is closed.
#pragma once

#include "iocache/canvas/canvas.h"

namespace iocache::canvas {

// Before anything is allocated: no size or count is negative, the bounds are in order, the icon fits its region.
bool sizes_are_sane(const cv_header& header);
// With the geometry known: the tile table has an entry for every tile and every slot.
bool table_holds_grid(const cv_canvas& record);
// The file is long enough for the slots it says it has.
bool file_holds_its_tiles(const cv_canvas& record);
// The first entries of the tile table, as many as there are slots, name slots that exist.
bool first_entries_are_slots(const cv_canvas& record);
// Takes every other entry that names no slot as never written, in memory, and says so: none ever reaches a seek.
void forget_impossible_entries(cv_canvas& record);
// Whether all of them named the next slot, as an append leaves it that was cut off between table and header: then the
// file may forget them, too. Anything else is damage, and not to be covered up. Client only; the next answer is no.
bool take_cut_off_append(const cv_canvas& record);

}  // namespace iocache::canvas
