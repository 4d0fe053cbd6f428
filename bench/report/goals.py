"""What is measured and what is aimed at: one row of the table each.

A row names the series of the result files that it compares. `limit` and `peers` are goals for the ratio of this
library to its physical limit and to the best peer: for rates the least, for times the most.
"""

from dataclasses import dataclass


@dataclass(frozen=True)
class Goal:
    workload: str
    what: str
    limit_text: str
    series: str = "library"
    limit_series: str | None = "limit"
    limit: float | None = None          # goal for the ratio to the limit, in-line
    limit_process: float | None = None  # the same in process mode, where it differs
    peers: float | None = None          # goal for the ratio to every peer
    plus: float | None = None           # goal: the limit and so much more, in the unit of the series
    most: float | None = None           # goal: no more than this, in the unit of the series
    explains: bool = False              # only explains the row above: no peers


GOALS = [
    Goal("W1", "read the rows of a cached 4096 × 4096 region, a call a row", "memcpy of the same tile rows",
         limit=0.85, peers=1.9),
    Goal("W2", "write them", "memcpy of the same tile rows", limit=0.85, peers=2.0),
    Goal("W3", "read its columns, a call a column", "strided copy of both planes", limit=0.9, peers=1.5),
    Goal("W4", "a random single pixel of it", "plain array read", limit=1.4, peers=1 / 6),
    Goal("W5", "read all rows in order, out of core, page cache warm", "pread of each row of tiles, and the copies",
         limit=0.85, peers=2.0),
    Goal("W5", "the same, beside a limit that goes round as many buffers as the cache has",
         "the same into as many buffers as the cache has", limit_series="limit, as many buffers as the cache",
         limit=0.85, explains=True),
    Goal("W5", "the same, page cache cold", "the same", series="library, cold", limit_series="limit, cold", peers=1.0),
    Goal("W6", "create, write all rows in order, close", "copies and pwrite", limit=0.9, peers=1.2),
    Goal("W6", "the same, with the final sync", "the same, and fsync", series="library, with the final sync",
         limit_series="limit, with the final sync", limit=0.9, peers=1.2),
    Goal("W7", "a single pixel whose tile is not in memory", "pread of the tile", limit=1.15, limit_process=1.4),
    Goal("W7", "the same, beside a limit that goes round as many buffers as the cache has",
         "the same into as many buffers as the cache has", limit_series="limit, as many buffers as the cache",
         limit=1.15, limit_process=1.4, explains=True),
    Goal("W7", "the same, 99th percentile", "the same", series="library p99", limit_series="limit p99"),
    Goal("W8", "start, open, one pixel", "open and pread, in a fresh process", limit=3.0),
    Goal("W9", "the whole reduced image from the tiles in the file", "pread of the tiles, and the samples", limit=1.3),
    Goal("W9", "the same, beside a limit that goes round as many buffers as the cache has",
         "the same into as many buffers as the cache has", limit_series="limit, as many buffers as the cache",
         limit=1.3, explains=True),
    Goal("W10", "peak resident memory of W5", "the cache's budget", plus=16),
    Goal("W11", "a stamp of 64 × 64 with the reduced image, median", "none", limit_series=None, most=0.3),
    Goal("W11", "the same, the worst of 1000", "none", series="library, worst stamp", limit_series=None, most=5),
    Goal("W12", "import a JPEG of 100 megapixels", "the slower of decoding and colour conversion, each alone",
         series="library, JPEG", limit_series="limit, JPEG", limit=1.25),
    Goal("W12", "import a TIFF of 100 megapixels", "the slower of decoding and colour conversion, each alone",
         series="library, TIFF", limit_series="limit, TIFF", limit=1.25),
]

# How fast process mode is to be beside in-line, at least: where nothing can overlap it may lose a tenth, where work
# can overlap it is to be faster.
PROCESS_COMPARED = {
    ("W1", "library"): 0.9,
    ("W2", "library"): 0.9,
    ("W3", "library"): 0.9,
    ("W4", "library"): 0.9,
    ("W5", "library, cold"): 1.0,
    ("W6", "library"): 1.0,
    ("W6", "library, with the final sync"): 1.0,
}

# From the smallest to the largest size, an access's cost may change by this part.
GROWTH_MAY_CHANGE = 0.20

# Peers without a cache do what the limit does in these: there is no memory bound that they keep.
WITHOUT_BOUND = {"W5": ("libtiff",)}

PEERS = ("gegl", "libvips", "openimageio", "gdal-pixel", "gdal-band", "libtiff")
