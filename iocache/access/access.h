// Lines, columns, single pixels and whole views, copied between tiles and flat buffers by the client.
//
// Nothing here is used by other folders but the visualisation buffers, which the public header declares. They have no
// lock: one canvas's image is built in them at a time.
#pragma once

#include <cstdint>

#include <iocache/iocache.h>
