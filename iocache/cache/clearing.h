// Clearing the tiles that were never written, on the processor that has time for it.
//
// Clearing a tile takes a fifth of the time that writing one takes. A client that waits for the tile has that time, and
// will want the tile's bytes near its own processor; the cache process may still have others to write. So the cache
// process leaves the tiles of a request to the client, which clears them behind the rendezvous, before anything else.
// They are locked meanwhile, and marked, so that a look without a lock passes them by (see tile_entry.h). Any other tile
// is cleared by whoever fetches it, and so is one for a host that rang and met the cache process by itself.
#pragma once

#include <iocache/iocache.h>

namespace iocache::cache {

enum class clearing { at_once, left_to_client };

// Fills the tile with zeros, or leaves that to the client. Cache side.
void clear_tile(cv_tile& tile, clearing when);

// Clears what was left: the client behind a rendezvous, or the cache side where it needs the tiles' bytes or memory
// before.
void clear_tiles_left();
// Start of the library.
void forget_tiles_left();

}  // namespace iocache::cache
