/* iocache - large, tiled, disk-backed images ("canvases") behind a small memory cache.
 *
 * This is the one header a host includes. It compiles as C11 and as C++20, and everything in it has C linkage.
 *
 * Conventions, once for the whole header
 *   Canvas number  0..49, an index into canvastable. A number outside that range is an empty slot.
 *   Kinds          0 mask (one byte a pixel), 1 picture (four bytes CMYK a pixel and one byte of alpha).
 *   Coordinates    signed pixels of the canvas; bounds and ranges are inclusive. Pixel (x, y) lies in tile column
 *                  (x + x_offset) >> tile_shift_x, row (y + y_offset) >> tile_shift_y. The grid is as wide as the
 *                  bounds and the offset need, counted from column 0; so usable bounds are those with
 *                  x_min <= 0 and x_offset >= -x_min, and alike for y. Pixels outside the grid are refused.
 *   Results        0 (or a number, a count, a pointer) for success, -255 for failure, -256 when the cache cannot be
 *                  set up, other small negative codes where a function lists them; functions that answer a pointer
 *                  answer null. Reported failures set cv_errno and pass one message to the host's wrt_err.
 *   Ownership      the library owns every record, table and buffer; a result a caller must free says so.
 *   Bytes          pixels, tiles, icons, reduced images and the two opaque blocks are bytes and never swapped; byte k
 *                  of a pixel in memory is byte k of it in the file. Numbers are native in memory, big-endian on disk.
 *   Threads        all calls come from one thread of the host (its main process) unless a function says otherwise.
 *                  There is one request block: never post two requests at once.
 *   Locks          a function that needs a lock held, or takes one that matters to a caller, says which.
 */
#ifndef IOCACHE_IOCACHE_H
#define IOCACHE_IOCACHE_H

#include <stdint.h>
#include <stdio.h>

/** Marks what the library exports. */
#define IOCACHE_API __attribute__((visibility("default")))
/** Marks what the host supplies: declared here, never defined by the library. */
#define IOCACHE_HOST __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* ==== Records ==================================================================================================== */

/* Opaque objects of the platform layer. */
typedef struct cv_arena cv_arena;
typedef struct cv_semaphore cv_semaphore;
typedef struct cv_lock cv_lock;
typedef struct cv_barrier cv_barrier;

typedef struct cv_canvas cv_canvas;
typedef struct cv_tile cv_tile;

/** One view of a canvas's extent. Whole blocks are copied and compared; the order (y_max before y_min) is fixed. */
typedef struct cv_geometry {
    int32_t level;       /**< 0 the image as created, 1 full copy, 2 low-resolution window, 3 copy of the window */
    int32_t x_min;       /**< left pixel */
    int32_t x_max;       /**< right pixel, inclusive */
    int32_t y_max;       /**< bottom pixel, inclusive */
    int32_t y_min;       /**< top pixel */
    int32_t width;       /**< x_max - x_min + 1 */
    int32_t height;      /**< y_max - y_min + 1 */
    int32_t x_offset;    /**< columns of the tile grid left of canvas column 0 */
    int32_t y_offset;    /**< rows of the tile grid above canvas row 0 */
    int32_t frame_x;     /**< left margin that centres the reduced image in the low-resolution frame */
    int32_t frame_y;     /**< top margin likewise */
    int32_t subsampled;  /**< 1 when the image is larger than the frame and a reduced image is kept, else 0 */
    int32_t lres_width;  /**< width of the reduced image, pixels */
    int32_t lres_height; /**< height of the reduced image, pixels */
    double scale;        /**< canvas pixels per reduced pixel; 1.0 when subsampled is 0 */
    int32_t step;        /**< frame pixels given to each sampled canvas pixel; 1 as the library sets it */
    int32_t spare;       /**< not used */
} cv_geometry;

/** The first 4096 bytes of a canvas file, numbers native. Offsets are those of the file. */
typedef struct cv_header {
    int16_t x_min;           /**< 0x000 bounds of the canvas, inclusive; 16 bits are the format's own limit */
    int16_t x_max;           /**< 0x002 */
    int16_t y_min;           /**< 0x004 */
    int16_t y_max;           /**< 0x006 */
    int16_t orig_x_min;      /**< 0x008 the same values again */
    int16_t orig_x_max;      /**< 0x00A */
    int16_t orig_y_min;      /**< 0x00C */
    int16_t orig_y_max;      /**< 0x00E */
    int16_t reserved_010;    /**< 0 */
    int16_t reserved_012;    /**< 0 */
    int16_t image_kind;      /**< 0x014 3 picture, 0 mask; on reading any value but 0 is a picture */
    int16_t reserved_016;    /**< 3 */
    int16_t reserved_018;    /**< 1 */
    int16_t reserved_01a;    /**< 0 */
    int16_t has_subsampled;  /**< 0x01C 1 when the file holds a reduced image */
    int16_t has_subsampled2; /**< 0x01E the same value again */
    int16_t reserved_020;    /**< 0 */
    int16_t reserved_022;    /**< 64 for a picture, 0 for a mask */
    int16_t icon_width;      /**< 0x024 pixels */
    int16_t icon_height;     /**< 0x026 pixels */
    int16_t tile_width;      /**< 0x028 pixels */
    int16_t tile_height;     /**< 0x02A pixels */
    int16_t tiles_across;    /**< 0x02C tile columns */
    int16_t tiles_down;      /**< 0x02E tile rows */
    char gamma_text[4];      /**< 0x030 */
    uint8_t unused_034[12];
    char red_xyz[23]; /**< 0x040 colorimetry of the host's view, as text */
    uint8_t unused_057[1];
    char green_xyz[21]; /**< 0x058 */
    uint8_t unused_06d[3];
    char blue_xyz[23]; /**< 0x070 */
    uint8_t unused_087[1];
    char white_xyz[20]; /**< 0x088 */
    uint8_t unused_09c[4];
    int32_t reserved_0a0; /**< 0 */
    uint8_t unused_0a4[256];
    char header_part[64];    /**< 0x1A4 identification of the host, copy of HeaderPart */
    char host_name[32];      /**< 0x1E4 machine that made the file */
    char create_user[32];    /**< 0x204 copy of user */
    char create_date[20];    /**< 0x224 copy of date */
    char user[32];           /**< 0x238 USER of the environment */
    char date[20];           /**< 0x258 month day hh:mm year */
    char aspect_tag[32];     /**< 0x26C */
    char color_model[32];    /**< 0x28C "cmyk" */
    char color_model_letter; /**< 0x2AC 'C' */
    uint8_t unused_2ad[131];
    double scale;              /**< 0x330 canvas pixels per reduced pixel; 1.0 when there is no reduced image */
    int32_t x_offset;          /**< 0x338 tile-grid offset, pixels */
    int32_t y_offset;          /**< 0x33C */
    int32_t icon_offset;       /**< 0x340 byte offsets of the regions */
    int32_t subsampled_offset; /**< 0x344 */
    int32_t tile_table_offset; /**< 0x348 */
    int32_t tiles_offset;      /**< 0x34C */
    int32_t header_bytes;      /**< 0x350 4096 */
    int32_t icon_bytes;        /**< 0x354 sizes of the regions in bytes, rounded up to 512 */
    int32_t subsampled_bytes;  /**< 0x358 */
    int32_t tile_table_bytes;  /**< 0x35C */
    int32_t tile_bytes;        /**< 0x360 bytes of one slot; not rounded */
    int32_t tiles_written;     /**< 0x364 slots handed out so far; falls when closing takes some back */
    int32_t dirty;             /**< 0x368 1 from the first tile write until a clean close */
    int32_t magic;             /**< 0x36C 414141 */
    int32_t version_filetype;  /**< 0x370 32; 1 marks the older layout */
    int32_t width;             /**< 0x374 pixels */
    int32_t height;            /**< 0x378 pixels */
    char x_unit;               /**< 0x37C 'M' */
    char y_unit;               /**< 0x37D 'M' */
    uint8_t unused_37e[2];
    float x_size;       /**< 0x380 width / x_resolution */
    float y_size;       /**< 0x384 height / y_resolution */
    float x_resolution; /**< 0x388 12.0 */
    float y_resolution; /**< 0x38C 12.0 */
    uint8_t unused_390[608];
    int32_t reserved_5f0; /**< 0 */
    uint8_t unused_5f4[4];
    double tone_low;      /**< 0x5F8 0.3 */
    double tone_mid;      /**< 0x600 1.0 */
    double tone_high;     /**< 0x608 1.7 */
    int32_t reserved_610; /**< 0 */
    int32_t reserved_614; /**< 0 */
    int32_t reserved_618; /**< 0 */
    uint8_t unused_61c[26];
    char tqcms_procname[64]; /**< 0x636 name of the colour-processing table; 64 characters have no NUL */
    uint8_t unused_676[2];
    int32_t tqcms_offset; /**< 0x678 */
    int32_t tqcms_bytes;  /**< 0x67C 153600 for a picture, 0 for a mask */
    int32_t ink_offset;   /**< 0x680 */
    int32_t ink_bytes;    /**< 0x684 6144 for a picture, 0 for a mask */
    uint8_t unused_688[2424];
} cv_header;

/** An open canvas. Made by canvas_new and canvas_old, freed by canvas_close; owns what it points to. */
struct cv_canvas {
    int32_t index;            /**< canvas number, its slot in canvastable */
    char* base_name;          /**< inside file_name, after the last '/' */
    char* file_name;          /**< path given to create or open */
    FILE* fp;                 /**< one-shot transfers (client side); null when closed */
    FILE* fp2;                /**< kept-open transfers (cache side); null when closed */
    cv_header* header;        /**< the file's header */
    uint8_t* icon;            /**< icon_bytes bytes */
    int32_t kind;             /**< 0 mask, 1 picture */
    int32_t busy;             /**< while 1 the canvas cannot be closed */
    int32_t save;             /**< 1 keep the file at close, 0 delete it */
    int32_t bytes_per_pixel;  /**< 1 mask, 4 picture */
    int32_t pixel_shift;      /**< 0 mask, 2 picture */
    int32_t tile_width;       /**< pixels */
    int32_t tile_height;      /**< pixels */
    int32_t tile_shift_x;     /**< floor of log2 of tile_width */
    int32_t tile_shift_y;     /**< floor of log2 of tile_height */
    int32_t tiles_across;     /**< columns of the tile grid */
    int32_t tiles_down;       /**< rows of the tile grid */
    int32_t tile_line_bytes;  /**< bytes of one line of a tile's colour (or mask) plane */
    int32_t tile_bytes;       /**< bytes of one tile buffer and of one slot */
    cv_geometry geom;         /**< the current view */
    cv_geometry geom_orig;    /**< the view at creation */
    cv_geometry geom_full;    /**< level 1 */
    cv_geometry geom_window;  /**< level 2 */
    cv_geometry geom_window2; /**< level 3 */
    int32_t window_flag;      /**< decides which derived files go when a linked canvas closes */
    int32_t window_mode;      /**< likewise; 1 and 2 matter */
    char* subs_window_name;   /**< file_name followed by "s" */
    cv_canvas* link_a;        /**< linked canvas, or null */
    cv_canvas* link_b;        /**< the other link, or null */
    cv_canvas* zoom_child;    /**< zoom canvas made from this one, closed with it */
    int32_t reserved1;        /**< 0 */
    int32_t open_zooms;       /**< zoom canvases made from this one and still open; close refuses then */
    cv_canvas* is_zoom;       /**< for a zoom canvas its parent, else null */
    int32_t reserved2;        /**< 0 */
    int32_t reserved3;        /**< 0 */
    int32_t reserved4;        /**< 0 */
    int32_t reserved5;        /**< 0 */
    int32_t dirty_mode;       /**< 3 */
    cv_tile** tile_cache;     /**< per tile its entry in memory, or null; under cv_tile_access_lock */
    int32_t* tile_table;      /**< per tile its slot in the file, or -1; written by the cache side only */
    uint8_t dirty_mask;       /**< bits that a write hand-out sets in tile_flags */
    uint8_t* tile_flags;      /**< per tile the derived images that are stale; under cv_tile_access_lock */
    int32_t tiles_fetched;    /**< entries made for this canvas and not yet evicted by replacement */
    int32_t tiles_spare;      /**< 0 */
};

/** One tile in memory. All of it but buffer's pixels is guarded by cv_tile_access_lock; a client that was handed the
 *  tile clears locked itself, without the lock, when it has finished with the buffer. */
struct cv_tile {
    int32_t id;        /**< canvas number of the owner */
    cv_canvas* canvas; /**< owner; null once detached */
    int32_t x;         /**< tile column */
    int32_t y;         /**< tile row */
    uint8_t* buffer;   /**< pixels: colour plane, then for a picture the alpha plane at tile_offset_alfa */
    int32_t size;      /**< bytes in buffer */
    int64_t file_pos;  /**< byte position of the tile's slot; 0 while it has none */
    int32_t locked;    /**< 1 while a client uses buffer: never evicted nor pre-written then */
    int32_t dirty;     /**< 1 when buffer holds changes that are not in the file */
    cv_tile* next;     /**< neighbour towards the most recently used */
    cv_tile* prev;     /**< neighbour towards the least recently used */
};

/** One slot of the request block. The client fills canvas to write, the cache fills the rest. */
typedef struct cv_tile_request {
    int32_t canvas;          /**< canvas number; operand of opcodes 21, 22, 23, 50, 51 (slot 0) */
    int32_t x;               /**< first pixel to be accessed */
    int32_t y;               /**< its row */
    int32_t x_end;           /**< last column of the intended access; smaller than x when it runs leftwards */
    int32_t y_end;           /**< last row; smaller than y when it runs upwards */
    int32_t write;           /**< not 0 when the pixels will be modified */
    cv_tile* tile;           /**< the tile that holds (x, y), locked: set its locked to 0 when done; null on failure */
    uint8_t* buffer;         /**< start of the tile's buffer */
    uint8_t* pixel;          /**< pixel (x, y) in the colour or mask plane */
    uint8_t* alfa_buffer;    /**< start of the alpha plane (pictures), else null */
    uint8_t* alfa_pixel;     /**< alpha byte of (x, y) (pictures), else null */
    int32_t run_x;           /**< pixels from x to the tile's edge in the access direction, clipped; signed */
    int32_t run_y;           /**< the same vertically */
    int32_t line_bytes;      /**< bytes per tile line of the colour or mask plane */
    int32_t alfa_line_bytes; /**< line_bytes / 4 (pictures), else 0 */
} cv_tile_request;

/** The request block shared by clients and the cache process. */
typedef struct cv_request_block {
    int32_t opcode; /**< what is asked; -255 after a request that failed in the cache process */
    cv_tile_request req[3];
} cv_request_block;

/** Tiles that the last request will want next, read ahead in idle time. */
typedef struct cv_pref_entry {
    cv_canvas* canvas; /**< null: nothing to do */
    int32_t next_col;  /**< next tile column to read */
    int32_t row;       /**< tile row */
    int32_t count;     /**< tiles left, at most 32 */
} cv_pref_entry;

/* ==== Set-up, shutdown and log =================================================================================== */

/* Set once by canvas_init, before any other use. */
extern IOCACHE_API void (*cv_wrt_err)(const char* text);      /**< the host's wrt_err: takes every error text */
extern IOCACHE_API int (*cv_printf)(const char* format, ...); /**< console messages; printf */
extern IOCACHE_API void (*cv_killer)(void);                   /**< the host's killer: ends the application */
extern IOCACHE_API int32_t total_main_memory;                 /**< machine memory, MiB */
extern IOCACHE_API int32_t decr_main_memory;                  /**< MiB kept out of the tile cache */
extern IOCACHE_API int64_t max_size_tiles;                    /**< byte budget of the tile cache */
extern IOCACHE_API char HeaderPart[64];                       /**< identification of the host, for new files */
extern IOCACHE_API int32_t cv_tilesize_hor;                   /**< tile width of new canvases, pixels */
extern IOCACHE_API int32_t cv_tilesize_vert;                  /**< tile height of new canvases, pixels */
extern IOCACHE_API int32_t cv_max_resolution;                 /**< largest pixel count of a canvas; may have wrapped */
extern IOCACHE_API int32_t cv_iconsize_hor;                   /**< icon width of new canvases, pixels */
extern IOCACHE_API int32_t cv_iconsize_vert;                  /**< icon height of new canvases, pixels */
extern IOCACHE_API int32_t cv_max_lres_hor;                   /**< width of the low-resolution frame, pixels */
extern IOCACHE_API int32_t cv_max_lres_vert;                  /**< height of the low-resolution frame, pixels */
extern IOCACHE_API int32_t tile_offset_alfa;                  /**< offset of the alpha plane in a picture tile, bytes */
extern IOCACHE_API int32_t cv_access_process;          /**< 1 requests run in the caller, 0 in the cache process */
extern IOCACHE_API int32_t cv_prefetch_allowed;        /**< reads backwards, as hosts expect: not 0 forbids prefetch */
extern IOCACHE_API int32_t cv_prewrite_allowed;        /**< reads backwards, as hosts expect: not 0 forbids pre-write */
extern IOCACHE_API int32_t cv_tile_access_switch;      /**< 1 once canvas_init has run */
extern IOCACHE_API char cv_tile_sema_file[100];        /**< path of the arena file */
extern IOCACHE_API int32_t cv_tile_access_fdes_sema;   /**< descriptor of the arena file */
extern IOCACHE_API cv_arena* cv_tile_access_handle;    /**< arena of the objects below */
extern IOCACHE_API cv_semaphore* cv_tile_access_sema;  /**< doorbell: rung once a posted request */
extern IOCACHE_API cv_barrier* cv_tile_access_barrier; /**< where client and cache process meet */
/* Lock order: cv_tile_access_cut_lock, then cv_tile_access_lock, then cv_tile_access_ask_lock. */
extern IOCACHE_API cv_lock* cv_tile_access_lock;     /**< guards the LRU list, tile_cache tables, tile flags */
extern IOCACHE_API cv_lock* cv_tile_access_ask_lock; /**< inside the former, when a victim is unhooked */
extern IOCACHE_API cv_lock* cv_tile_access_cut_lock; /**< clients that read single pixels by request */

/* Set by the library while it runs. */
extern IOCACHE_API int32_t cv_errno;                 /**< code of the last reported failure */
extern IOCACHE_API char error_m[100];                /**< text of the last formatted failure */
extern IOCACHE_API int32_t cv_tile_access_exit_flag; /**< 1 makes the cache process leave; atomic */
extern IOCACHE_API int32_t cv_clear_tile;            /**< 1: a tile that was never written is cleared when fetched */
extern IOCACHE_API int32_t tq_logs;                  /**< 1 when log lines go to standard output */
extern IOCACHE_API int32_t tq_log;                   /**< 1 when log lines go to log_fp */
extern IOCACHE_API FILE* log_fp;                     /**< the log file; meaningful while tq_log is 1 */

/** Starts everything, once: workers, defaults, tile memory, cache process. Rbuf is set to bufR. */
IOCACHE_API void cv_master_init(void);
/** Starts the host's workers. Returns 0, or -1 when MP_init fails (nothing further is set up). */
IOCACHE_API int32_t cv_init_driver(void);
/** Sets every global default, sizes and maps the tile memory, starts the tile access machinery and the log. */
IOCACHE_API void canvas_init(void);
/** Makes semaphore, locks, barrier and, in process mode, the cache process. Returns 0, or -256 with cv_errno
 *  999001..999008, a message and a call of cv_killer. */
IOCACHE_API int32_t canvas_init_tile_access(void);
/** Orderly exit: cv_kill_tile_access, then the host's workers end. */
IOCACHE_API void cv_master_exit(void);
/** Closes every canvas and takes the cache machinery down. Does nothing before canvas_init. */
IOCACHE_API void cv_kill_tile_access(void);
/** Quick exit: closes no canvas, writes nothing back, logs nothing. */
IOCACHE_API void cv_master_exit_quit(void);
/** Writes one line, indented by level times two blanks, to each enabled output. */
IOCACHE_API void cv_log_string(int32_t level, const char* text);
/** Logs "TEXT OBJECT : OBJECT TOOL : TOOL" at level 0; a line longer than 199 bytes is cut. */
IOCACHE_API void cv_log_tool(const char* text, const char* object, const char* tool);

/* ==== Tile cache ================================================================================================= */

extern IOCACHE_API cv_tile* first_tile;      /**< least recently used tile, or null; cv_tile_access_lock */
extern IOCACHE_API cv_tile* last_tile;       /**< most recently used tile, or null; cv_tile_access_lock */
extern IOCACHE_API int64_t total_size_tiles; /**< lowered by canvas_flush_all; no decision reads it */
extern IOCACHE_API int32_t cv_disk_full;     /**< 1 from a failed tile write until there is room again; atomic */
extern IOCACHE_API cv_request_block parg;    /**< the one request block */
extern IOCACHE_API cv_pref_entry cv_pref[3]; /**< read-ahead hints of the last tile request; cache side */

/** Serves the request in parg. Opcodes 1..3 hand out the tiles of that many slots, 41..43 of one slot; 31 and 32 answer
 *  a pixel's value; 11 flushes all, 20 starts pre-writing, 21, 22, 23 flush, write back, drop one canvas; 50 and 51 open
 *  and close its kept-open stream; 99 only meets the cache process. Returns 0, a pixel value (31, 32), or -255: an
 *  illegal opcode (cv_errno 999009), a request outside a canvas, a tile that cannot be read, a full disk that the
 *  handler gave up on, or a cache process that has ended. On -255 no tile of the request is left locked. */
IOCACHE_API int32_t cv_tile_access(void);
/** The cache process: serves requests until the exit flag is set. In in-line mode serves the one in parg. */
IOCACHE_API void cv_tile_access_read(void* unused);
/** Waits until every worker and the cache process have finished what they were doing. */
IOCACHE_API void start_all_processes(void);
/** Unlinks the tile from the LRU list. The caller holds cv_tile_access_lock. */
IOCACHE_API void cv_remove_from_lru_list(cv_tile* tile);
/** Links the tile as the newest. The caller holds cv_tile_access_lock. */
IOCACHE_API void cv_append_to_lru_list(cv_tile* tile);
/** Looks the request's tile up in memory and, when found, locks it and fills the results. Returns 0, or -255 when the
 *  cache process must be asked. Takes cv_tile_access_lock. */
IOCACHE_API int32_t cv_find_tile_in_cache(cv_tile_request* request);
/** The same for one pixel, without write handling, runs or a new place in the LRU order. Returns 0, -1 when the tile
 *  was never written, -255 when it is on disk only. Takes cv_tile_access_lock. */
IOCACHE_API int32_t cv_find_pixel_in_cache(cv_tile_request* request);
/** Brings a tile into memory as the newest, evicting others when there is no room. Returns it, not locked, or null
 *  when the disk is full, a transfer failed or no memory can be had. Cache side only. */
IOCACHE_API cv_tile* cv_get_tile(cv_canvas* canvas, int32_t column, int32_t row);
/** Writes a dirty tile to its slot, giving it one first when it has none. Returns 0, or -255. Cache side only. */
IOCACHE_API int32_t cv_write_dirty_tile(cv_tile* tile);
/** 0 when the tile of slot 0 of parg holds data, else -255 with the run of nothing in run_x and run_y. */
IOCACHE_API int32_t cv_if_tile_exist(void);
/** 0 when no tile of the canvas was ever written and none is dirty, else -255 (also for an empty slot). */
IOCACHE_API int32_t cv_test_if_canvas_empty(int32_t canvas);
/** Prints one line for every locked tile. */
IOCACHE_API void cv_check_lock(void);
/** Reads hinted tiles ahead. Returns 0 when all are read, -255 when a new request was waiting. Cache side only. */
IOCACHE_API int32_t cv_prefetch(void);
/** Writes unlocked dirty tiles, oldest first. Returns 0 at the newest tile, -255 when a new request was waiting or the
 *  disk is full. Cache side only. */
IOCACHE_API int32_t cv_prewrite(void);
/** Asks the cache process to pre-write; does not wait. Returns 0, or -255 when there is no cache process any more. */
IOCACHE_API int32_t cv_start_prewrite(void);
/** Writes back and lets go every tile of every canvas, locked ones too. Returns 0. */
IOCACHE_API int32_t canvas_flush_all(void);
/** Writes back and detaches the canvas's tiles. Returns 0 or -255. */
IOCACHE_API int32_t cv_flush_tiles(int32_t canvas);
/** Writes back the canvas's tiles and keeps them. Returns 0 or -255. */
IOCACHE_API int32_t cv_flush_tiles_keep(int32_t canvas);
/** Detaches the canvas's tiles without writing: unsaved changes are gone. Returns 0 or -255. */
IOCACHE_API int32_t cv_delete_tiles(int32_t canvas);
/** Lets the host make room on a full disk. Returns 0 (try again) or -255 (give up). */
IOCACHE_API int32_t canvas_disk_full(void);
/** Not 0: every full disk fails the current request at once. */
IOCACHE_API void cv_disk_full_return(int32_t flag);
/** Copies height rows of width bytes on all workers. Returns what MP_run_procs returns. */
IOCACHE_API int32_t MP_memcpy(void* target, const void* source, int32_t width, int32_t height);
/** Fills height rows of width bytes with value's low byte on all workers. Returns what MP_run_procs returns. */
IOCACHE_API int32_t MP_memset(void* target, int32_t value, int32_t width, int32_t height);

/* ==== Canvases and their files =================================================================================== */

extern IOCACHE_API cv_canvas* canvastable[50]; /**< open canvases; null is a free slot */
/* The host's current canvases; the host sets them. */
extern IOCACHE_API int32_t current_canvas; /**< number of the current picture */
extern IOCACHE_API int32_t current_mask;   /**< number of the current mask */
extern IOCACHE_API cv_canvas* current_cp;  /**< record of the current picture */
extern IOCACHE_API cv_canvas* current_mp;  /**< record of the current mask */
extern IOCACHE_API int32_t alfa_canvas;    /**< canvas whose alpha plane is in use; not read by the library */
extern IOCACHE_API char* cv_name_file;     /**< file last written through a kept-open stream; the library's storage */
extern IOCACHE_API uint8_t ink_color_def[6144]; /**< last ink colour definitions read or about to be written */
extern IOCACHE_API uint8_t tqcms_proc[153600];  /**< last colour-processing table likewise */
extern IOCACHE_API uint8_t* cv_palet_ptr;       /**< colour palette a conversion left, or null */
extern IOCACHE_API int32_t cv_palet_num_bytes;  /**< its length, bytes */

/** Number of the canvas that has this file open (same device and inode, or same name), or -1. */
IOCACHE_API int32_t canvas_if_already_open(const char* path);
/** The file is kept at close. Returns 0, or -255 for an empty slot. */
IOCACHE_API int32_t cv_mark_canvas_save(int32_t canvas);
/** The file is deleted at close. Returns 0, or -255 for an empty slot. */
IOCACHE_API int32_t cv_mark_canvas_nosave(int32_t canvas);
/** Floor of log2 of size, or -1 for size < 1. */
IOCACHE_API int32_t cv_calc_tileshift(int32_t size);
/** Creates a canvas and its file; unsaved until marked. Returns its number (also of a canvas that has the file open
 *  already), or -1..-20 with cv_errno 999103..999119 and a message. An existing file is never touched (-20). Bounds
 *  beyond 16 bits are not refused, but do not fit the file, which will not open again. Everyone may read and write the
 *  new file, whatever the umask. */
IOCACHE_API int32_t canvas_new(const char* path, int32_t kind, int32_t x_min, int32_t y_min, int32_t x_max,
                               int32_t y_max, int32_t x_offset, int32_t y_offset);
/** Fills the record's header buffer for a new file. Returns 0, or -255 for an unknown kind. */
IOCACHE_API int32_t cv_create_header(cv_canvas* canvas);
/** Opens a canvas file; it is kept at close. Returns its number, or a negative code with cv_errno 999120..999133,
 *  999134..999146 from a conversion, 999400 or 999930 and a message. A file that was not closed is repaired; an older
 *  format is converted. */
IOCACHE_API int32_t canvas_old(const char* path);
/** The same as canvas_old. */
IOCACHE_API int32_t canvas_old_io(const char* path);
/** The same as canvas_old; the flag is ignored. */
IOCACHE_API int32_t canvas_old_both(const char* path, int32_t flag);
/** Closes a canvas: a saved one is written back, an unsaved one deleted. Returns 0, or -255 for an empty slot, a busy
 *  canvas, or one with open zoom canvases. */
IOCACHE_API int32_t canvas_close(int32_t canvas);
/** Closes every canvas. Returns the result of slot 49. */
IOCACHE_API int32_t canvas_close_all(void);
/** Stores reduced image and icon from Rbuf, then closes. Returns what canvas_close does, -255 for an empty slot. */
IOCACHE_API int32_t canvas_close_3d(int32_t canvas);

/* One-shot transfers of length bytes at a byte offset; 0 or -255 with cv_errno 999201..999208. Client side. */
IOCACHE_API int32_t cv_read(cv_canvas* canvas, int64_t offset, void* buffer, int32_t length);
IOCACHE_API int32_t cv_write(cv_canvas* canvas, int64_t offset, const void* buffer, int32_t length);
/* Kept-open transfers; 0 or -255, failures are printed and leave cv_errno alone. Cache side. */
IOCACHE_API int32_t cv_read2(cv_canvas* canvas, int64_t offset, void* buffer, int32_t length);
IOCACHE_API int32_t cv_write2(cv_canvas* canvas, int64_t offset, const void* buffer, int32_t length);
/** Opens both streams, creating the file when there is none. Returns -30 (existed), -31 (created) or -255. */
IOCACHE_API int32_t canvas_open_file(int32_t canvas);
/** Closes both streams. Returns 0 or -255. */
IOCACHE_API int32_t canvas_close_file(int32_t canvas);
/** 0 when the file is readable (write = 0) or readable and writable, else -255. */
IOCACHE_API int32_t cv_test_file(const char* path, int32_t write);
/* Regions of the file and their place in memory. 0 or -255; an empty slot gives -255. */
IOCACHE_API int32_t cv_read_header(int32_t canvas);
IOCACHE_API int32_t cv_write_header(int32_t canvas);
IOCACHE_API int32_t cv_write_header2(int32_t canvas);
IOCACHE_API int32_t cv_read_icon(int32_t canvas);
IOCACHE_API int32_t cv_write_icon(int32_t canvas);
/** Reads the stored reduced image into cv_visu_pic or cv_visu_mask; one larger than the buffer fails as a read. */
IOCACHE_API int32_t cv_read_subsampled(int32_t canvas);
/** Reads it into buffer, which holds the header's subsampled_bytes. */
IOCACHE_API int32_t cv_read_subsampled_buffer(cv_canvas* canvas, void* buffer);
/** Writes cv_visu_pic or cv_visu_mask; -255 also when the file has no such region. */
IOCACHE_API int32_t cv_write_subsampled(int32_t canvas);
/** Writes Rbuf; -255 also when the file has no such region. */
IOCACHE_API int32_t cv_write_subsampled_Rbuf(int32_t canvas);
IOCACHE_API int32_t cv_read_tile_table(int32_t canvas);
IOCACHE_API int32_t cv_write_tile_table(int32_t canvas);
IOCACHE_API int32_t cv_write_tile_table2(int32_t canvas);
IOCACHE_API int32_t cv_read_tile(cv_tile* tile);
IOCACHE_API int32_t cv_write_tile(cv_tile* tile);
/** tqcms_proc (153600 bytes) read from the file, or null; cv_errno 1 no region, 2 wrong size, 3 no canvas. */
IOCACHE_API uint8_t* cv_tqcms_proc_get(int32_t canvas);
/** Writes 153600 bytes. 0 or -255, codes as above. */
IOCACHE_API int32_t cv_tqcms_proc_set(int32_t canvas, const void* data);
/** ink_color_def (6144 bytes) read from the file, or null; codes as above. */
IOCACHE_API uint8_t* cv_ink_color_def_get(int32_t canvas);
/** Writes 6144 bytes. 0 or -255, codes as above. */
IOCACHE_API int32_t cv_ink_color_def_set(int32_t canvas, const void* data);
/** Stores at most 64 bytes of name and rewrites the header. 0, or -255 with cv_errno 3. */
IOCACHE_API int32_t cv_tqcms_procname_set(int32_t canvas, const char* name);
/** The name inside the header buffer (64 bytes, no NUL when full), or null with cv_errno 3. */
IOCACHE_API char* cv_tqcms_procname_get(int32_t canvas);

/** Moves a file, also across file systems. 0 or -255. */
IOCACHE_API int32_t cv_rename_file(int32_t ignored, const char* from, const char* to);
/** Copies a file through Rbuf. 0, or -255 with cv_errno 999211..999213; an empty source fails as a write. */
IOCACHE_API int32_t copy_file_to_file(const char* from, const char* to);
/** Moves an open canvas's file. 0; -255 (canvas as it was); -256 with cv_errno 999224 after cv_killer. */
IOCACHE_API int32_t canvas_rename_file(int32_t canvas, const char* new_path);
/** Results of unlink on file_name and on subs_window_name; the canvas must be open. */
IOCACHE_API int32_t canvas_unlink_file(int32_t canvas);
IOCACHE_API int32_t canvas_unlink_subs_window(int32_t canvas);
/* The separate window file: 4 MiB for a picture, 1 MiB for a mask. 0, or -255 with cv_errno 999216..999221. */
IOCACHE_API int32_t canvas_write_subsampled_window(cv_canvas* canvas);
IOCACHE_API int32_t canvas_write_subsampled_window_Rbuf(cv_canvas* canvas);
IOCACHE_API int32_t canvas_read_subsampled_window(cv_canvas* canvas);
/** Seeks fd past the header and icon of an older image. 0, or -1 with cv_errno 999214, 999215 (fd then closed). */
IOCACHE_API int32_t skip_header(int32_t fd);
/** Free bytes of the path's file system, modulo 4 GiB; 0 when it cannot be told. */
IOCACHE_API uint32_t cv_get_disk_free(const char* path);
/** Free blocks, and the block size through the pointer; 0 when it cannot be told. */
IOCACHE_API int32_t cv_get_disk_free_blocks(const char* path, int32_t* block_size);
/** Estimated bytes of a canvas file of this size. */
IOCACHE_API int64_t cv_calculate_filesize(int32_t width, int32_t height, int32_t kind);
/** The palette (cv_palet_ptr) and its length; stays the library's. */
IOCACHE_API uint8_t* cv_ask_palet(int32_t* num_bytes);
/** Frees the palette, if there is one. */
IOCACHE_API void cv_free_palet(void);

/* ==== Pixel access =============================================================================================== */

extern IOCACHE_API uint8_t cv_visu_pic[5242880];  /**< reduced image of the current picture: colour, then alpha */
extern IOCACHE_API uint8_t cv_visu_mask[1048576]; /**< reduced image of the current mask */
extern IOCACHE_API uint8_t* cv_visu_alfa;         /**< separate alpha plane of cv_visu_pic; the host sets it, or null */
extern IOCACHE_API int32_t current_cutout;        /**< for the host; not read by the library */

/* Geometry of tiles. -255 for an empty slot; no lock. */
IOCACHE_API int32_t cv_ask_virt_param(int32_t canvas, int32_t* width, int32_t* height);
/** Tile number (row * tiles_across + column) of a pixel; outside the canvas it lies outside the grid. */
IOCACHE_API int32_t cv_ask_tilenr(int32_t canvas, int32_t x, int32_t y);
/** Pixel extent of a tile, clipped to 0 and to the current view's right and bottom. */
IOCACHE_API void cv_ask_tile_limits(int32_t canvas, int32_t tile, int32_t* left, int32_t* top, int32_t* right,
                                    int32_t* bottom);
IOCACHE_API int32_t cv_ask_tile_dimensions(int32_t canvas, int32_t* across, int32_t* down);
IOCACHE_API int32_t cv_ask_tile_sizes(int32_t canvas, int32_t* width, int32_t* height);
/** Tile number when the pixel and its right, lower and lower-right neighbours share one tile, else -1. */
IOCACHE_API int32_t cv_ask_tile_and_offset(int32_t canvas, int32_t x, int32_t y);

/* Runs of pixels between flat buffers and the canvas: colour 4 bytes a pixel and alpha 1 byte (pictures), or 1 byte a
 * pixel and no alpha (masks). 0, or -255: empty slot, or a request that failed; pixels before it are transferred. Only
 * what fails in the file is reported: a pixel outside the grid, or a tile that no zone is large enough for, is not.
 * What is stored inside the grid but outside the bounds stays in the file, where verify finds it; cv_clear_side clears
 * it. */
IOCACHE_API int32_t cv_getline(int32_t canvas, void* colour, void* alpha, int32_t y, int32_t x_first, int32_t x_last);
IOCACHE_API int32_t cv_storeline(int32_t canvas, const void* colour, const void* alpha, int32_t y, int32_t x_first,
                                 int32_t x_last);
IOCACHE_API int32_t cv_getcolumn(int32_t canvas, void* colour, void* alpha, int32_t x, int32_t y_first, int32_t y_last);
IOCACHE_API int32_t cv_storecolumn(int32_t canvas, const void* colour, const void* alpha, int32_t x, int32_t y_first,
                                   int32_t y_last);
/* Sampled pixels of a line or column into a reduced image. The tables must be those of the canvas. */
IOCACHE_API int32_t cv_subsample_line_in_buf(int32_t canvas, const void* colour, const void* alpha, int32_t y,
                                             int32_t x_first, int32_t x_last, void* target, void* alpha_target);
IOCACHE_API int32_t cv_subsample_line(int32_t canvas, const void* colour, const void* alpha, int32_t y, int32_t x_first,
                                      int32_t x_last);
IOCACHE_API int32_t cv_subsample_column_in_buf(int32_t canvas, const void* colour, const void* alpha, int32_t x,
                                               int32_t y_first, int32_t y_last, void* target, void* alpha_target);
IOCACHE_API int32_t cv_subsample_column(int32_t canvas, const void* colour, const void* alpha, int32_t x,
                                        int32_t y_first, int32_t y_last);
/** One pixel: the colour word, with its alpha through the pointer (pictures), or the mask byte (alpha untouched).
 *  Outside the grid, or when the request fails: 0, alpha untouched. May be called from any thread. */
IOCACHE_API uint32_t cv_ask_value_pixel(cv_canvas* canvas, int32_t x, int32_t y, uint32_t* alpha);
/** The same, but a mask byte found in memory comes in the top 8 bits; one that had to be requested in the low 8. */
IOCACHE_API uint32_t cv_ask_value_cutout(cv_canvas* canvas, int32_t x, int32_t y, uint32_t* alpha);
/** The reduced image of a picture in a buffer that the caller frees with free(), or null. A canvas within the frame
 *  gives its colour plane, a larger one the stored image: colour plane, then alpha plane. */
IOCACHE_API uint8_t* cv_get_visualisation(int32_t canvas, int32_t* width, int32_t* height);
/** Copies a canvas within the frame into Xbuf: colour (or mask) at 0, alpha at 4194304. 0 or -255. */
IOCACHE_API int32_t cv_get_lowres_visu(int32_t canvas);

/* ==== Tile memory ================================================================================================ */

/* Zones of 327,680 bytes, each one picture tile or five mask tiles. Cache side only; no lock. */
extern IOCACHE_API uint8_t* cv_alloc_adress;       /**< start of zone 0 */
extern IOCACHE_API int32_t cv_alloc_zones;         /**< number of zones */
extern IOCACHE_API int32_t cv_alloc_zones_initial; /**< the same, as set at start */
extern IOCACHE_API uint8_t* cv_alloc_code;         /**< per zone: 0 free, 1 a picture tile, 5 mask tiles */
extern IOCACHE_API uint32_t* cv_alloc_bits;        /**< per zone: bit i set when block i is in use */
extern IOCACHE_API int32_t cv_alloc_curr_size;     /**< bytes wanted, or of the block freed last */
extern IOCACHE_API int32_t cv_alloc_curr_code;     /**< zone kind of that size; also blocks in such a zone */
extern IOCACHE_API int32_t cv_alloc_curr_and;      /**< occupancy of a full zone of that kind */
extern IOCACHE_API int32_t cv_alloc_curr_nr;       /**< zone of the current block, -1 for none */
extern IOCACHE_API int32_t cv_alloc_curr_index;    /**< index of the block in its zone */
extern IOCACHE_API uint8_t* cv_alloc_curr_adress;  /**< address of the current block */

/** Maps size bytes and makes every zone free. 0, or -256 with cv_errno 999012 after cv_killer. */
IOCACHE_API int32_t cv_alloc_init(int64_t size);
/** Kind and full occupancy from cv_alloc_curr_size. 0, or -255 for a size that is neither of the two. */
IOCACHE_API int32_t cv_alloc_fill_in_current(void);
/** Finds a block of cv_alloc_curr_size bytes without taking it. 0, or -255 when there is no room. */
IOCACHE_API int32_t cv_alloc_search_place(void);
/** Takes the current block and returns its address. */
IOCACHE_API uint8_t* cv_alloc_malloc(void);
/** Gives back the block at address and leaves it described as the current one. */
IOCACHE_API void cv_alloc_free(void* address);

/* ==== Reduced images ============================================================================================= */

/* Coordinate tables of the canvas for which canvas_make_tables was called last. */
extern IOCACHE_API int16_t cv_xvirttbl[1024]; /**< per frame column the canvas column shown there, -1 for none */
extern IOCACHE_API int16_t cv_yvirttbl[1024]; /**< the same for rows */
extern IOCACHE_API int16_t* cv_xsubtbl;       /**< per canvas column: frame column * 16, plus 1 when it is sampled */
extern IOCACHE_API int16_t* cv_ysubtbl;       /**< the same for rows; both indexed from the canvas's own bounds */
extern IOCACHE_API int32_t cv_txsubtbl;       /**< for the host; not used by the library */
extern IOCACHE_API int32_t cv_tysubtbl;       /**< for the host; not used by the library */

/** Builds the tables for a canvas; an empty slot does nothing. Returns 0. */
IOCACHE_API int32_t canvas_make_tables(int32_t canvas);
/** Sets the record's dirty_mask for views of this level (0..3); others leave it. */
IOCACHE_API void cv_set_dirtybits_mask(cv_canvas* canvas, int32_t level);
/* Bring one tile into a reduced image: the library's buffers, Rbuf, or the given one. Tables as above. */
IOCACHE_API void cv_update_virt_subsampled_tile(int32_t canvas, int32_t tile);
IOCACHE_API void cv_update_virt_subsampled_ptile(int32_t canvas, int32_t tile);
IOCACHE_API void cv_update_virt_subsampled_ptile_Rbuf(int32_t canvas, int32_t tile);
IOCACHE_API void cv_update_virt_subsampled_ptile_buffer(int32_t canvas, int32_t tile, void* buffer);
IOCACHE_API void cv_update_virt_subsampled_mtile(int32_t canvas, int32_t tile);
IOCACHE_API void cv_update_virt_subsampled_mtile_Rbuf(int32_t canvas, int32_t tile);
IOCACHE_API void cv_update_virt_subsampled_mtile_buffer(int32_t canvas, int32_t tile, void* buffer);
/** One pixel into cv_visu_pic and cv_visu_alfa, when its column and row are sampled; geometry of current_cp. */
IOCACHE_API void cv_subsample_ppixel(int32_t x, int32_t y, uint32_t value, int32_t alpha);
/** One pixel into cv_visu_mask likewise; geometry of current_cp, as hosts expect. */
IOCACHE_API void cv_subsample_mpixel(int32_t x, int32_t y, int32_t value);
/** Rebuilds the reduced image of the current picture (mask) from its tiles and stores it. Returns 0. */
IOCACHE_API int32_t cv_resample_picture(void);
IOCACHE_API int32_t cv_resample_mask(void);
/* Icons from a reduced image, into the record's icon buffer. */
IOCACHE_API int32_t cv_make_pic_buffer_icon(cv_canvas* canvas, const void* source);
IOCACHE_API int32_t cv_make_mask_buffer_icon(cv_canvas* canvas, const void* source);
IOCACHE_API void cv_make_pic_icon(cv_canvas* canvas);
IOCACHE_API void cv_make_pic_icon_Rbuf(cv_canvas* canvas);
IOCACHE_API void cv_make_mask_icon(cv_canvas* canvas);
IOCACHE_API void cv_make_mask_icon_Rbuf(cv_canvas* canvas);
/** Clears the pixels of edge tiles that lie outside the image. */
IOCACHE_API void cv_clear_side(int32_t canvas);
/** Rebuilds and stores reduced image and icon of a file that was not closed. */
IOCACHE_API void cv_remake_dirty_file(int32_t canvas);
/** Parts a zoom canvas from its parent. 0, or -255 for an empty slot or a canvas that is none. */
IOCACHE_API int32_t cv_unlink_zoom(int32_t canvas);

/* ==== Older formats ============================================================================================== */

/** Turns a file of the older block format into a canvas file of the same name. 0, or -255 with cv_errno 999134..999146
 *  and a message; a finished file that cannot take the name gives -255 alone. */
IOCACHE_API int32_t cv_convert_old_file(const char* path);
/** Turns an open version-1 canvas into a current one. Returns the new canvas's number (the old one is closed), or
 *  -255: with cv_errno 999147 when the host has no new name, otherwise with that of the step that failed,
 *  if it has one; -256 when the new file cannot be opened again under the old name. */
IOCACHE_API int32_t cv_transform_v1_to_v10(int32_t canvas);

/* ==== Supplied by the host ======================================================================================= */

typedef void (*MP_function)(void* args);

/** One configuration item. Returns -1 when it is not configured; else stores its text or number. */
IOCACHE_HOST int32_t config_get(int32_t item, const char** text, int32_t* number);
IOCACHE_HOST int32_t m_get_numprocs(void);           /**< processors of the machine */
IOCACHE_HOST int32_t MP_init(void);                  /**< starts the workers; -1 on failure */
IOCACHE_HOST void MP_exit(void);                     /**< ends them */
IOCACHE_HOST int32_t MP_set_nr_procs(int32_t count); /**< asks for a number of workers; returns what is granted */
IOCACHE_HOST int32_t MP_get_nr_procs(void);
IOCACHE_HOST void MP_def_lock(void** lock);
IOCACHE_HOST void MP_free_lock(void* lock);
IOCACHE_HOST void MP_set_lock(void* lock);
IOCACHE_HOST void MP_unset_lock(void* lock);
IOCACHE_HOST void MP_def_proc_fun(int32_t worker, MP_function function);
IOCACHE_HOST MP_function MP_get_proc_fun(void);
IOCACHE_HOST void MP_def_proc_args(int32_t worker, void* args);
IOCACHE_HOST int32_t MP_run_procs(void); /**< runs every worker's function once; returns when all passed MP_barrier */
IOCACHE_HOST void MP_barrier(void);      /**< the last thing a worker's function does */
IOCACHE_HOST void wrt_err(const char* text);
IOCACHE_HOST void killer(void);
IOCACHE_HOST char* canvas_create_new_filename(int32_t kind);  /**< the host's storage; null when there is none */
IOCACHE_HOST int32_t start_another_program(const char* name); /**< runs it and waits; -1 on failure */

extern IOCACHE_HOST int32_t nr_procs;     /**< workers */
extern IOCACHE_HOST int32_t proc_args[8]; /**< each worker's own number */
extern IOCACHE_HOST void* cnt_lock;       /**< guards MP_line during a run */
/* Shared buffers. bufR and Xbuf must hold everything the library writes: 5 MiB of image for the default 1024 x 1024
 * frame, 9.3 MiB for the remake of a picture; a host gives 16 MiB. Zbuf is only tested for null. */
extern IOCACHE_HOST uint8_t bufR[];
extern IOCACHE_HOST uint8_t* Rbuf;
extern IOCACHE_HOST uint8_t* Xbuf;
extern IOCACHE_HOST uint8_t* Zbuf;

/* Parameters of the worker functions; saved and restored around a program that makes room on a full disk. */
extern IOCACHE_HOST int32_t MP_startx, MP_endx, MP_starty, MP_endy, MP_x, MP_y, MP_wid, MP_height, MP_blw, MP_trans,
    MP_trans2, MP_type, MP_press_limit, MP_opac_limit, MP_x_offset, MP_y_offset, MP_plinewid, MP_alinewid,
    MP_alfa_linewid, MP_alfa_inc, MP_mlinewid, MP_slinewid, MP_tilewid, MP_visu_wid, MP_sx_offset, MP_sy_offset,
    MP_noise, MP_line, MP_count, MP_subx, MP_suby, MP_swidth, MP_sat_limit, MP_val_limit, MP_hue_limit;
extern IOCACHE_HOST uint8_t *MP_target, *MP_alfa_target, *MP_alfa, *MP_buffer, *MP_ovl, *MP_source, *MP_alfa_source;
extern IOCACHE_HOST int32_t MP_col1, MP_col2;

#ifdef __cplusplus
}
#endif

#endif
