/* The reference host: everything that iocache asks its host for, ready to use.
 *
 * A program that links iocache and iocache_host has a working host. All it does is call cv_master_init() before and
 * cv_master_exit() after its other calls. Whatever is not to its taste it sets with the functions below, mostly
 * before cv_master_init(); or it writes a host of its own and leaves this library out.
 *
 * What it supplies
 *   Workers      a pool of threads behind the MP_ functions. The thread that calls MP_run_procs is worker 0; the others
 *                wait between two runs, spinning for a moment and then asleep.
 *   config_get   items from this program, the environment and a configuration file; see below.
 *   wrt_err      one line a message on standard error: "iocache: " and the message.
 *   killer       a last line on standard error, then the end of the program with exit code 70.
 *   New files    canvas_create_new_filename: names that no file has, in new_file_folder or, without that, in the
 *                folder for temporary files (TMPDIR, or /tmp).
 *   Full disk    start_another_program: runs disk_full_program and waits for it. It answers -1, and the library gives
 *                up, when none is configured, when it cannot be run, and when it ends with another exit code than 0.
 *   Buffers      bufR and Xbuf with 16 MiB each, Zbuf null.
 *
 * Configuration. An item has a number, by which the library asks for it, and a name. Its value comes from the first
 * of these that has it:
 *   1. this program (the iocache_host_set_ functions);
 *   2. the environment: IOCACHE_ITEM_47 by number, then IOCACHE_TILE_WIDTH by name;
 *   3. the configuration file: the one that IOCACHE_CONFIG names, else $XDG_CONFIG_HOME/iocache/config, else
 *      ~/.config/iocache/config. It is read once, when the first item is asked for. A line holds "tile_width = 256" or
 *      "item.47 = 256"; empty lines and lines that begin with '#' mean nothing.
 * The items:
 *   22 product_name            text, fewer than 50 characters; goes into the header of every new file
 *   23 product_release         text; likewise
 *   29 workers                 number of workers
 *   41 largest_side            k: a canvas has at most (1024 k) * (1024 k) pixels
 *   47 tile_width              pixels
 *   48 tile_height             pixels
 *   49 memory_left_free        MiB of the memory that the tile cache leaves alone
 *    - new_file_folder         the host's own: folder for new files
 *    - disk_full_program       the host's own: program that makes room on a full disk, with its arguments, split at
 *                              blanks; no shell is involved
 *
 * Threads: the functions below may be called from any thread. The MP_ functions belong to the thread that calls
 * cv_master_init(), except for those that a worker's function calls: MP_set_lock, MP_unset_lock and MP_barrier.
 * A forked child has no workers: MP_run_procs answers -1 there.
 */
#ifndef IOCACHE_HOST_IOCACHE_HOST_H
#define IOCACHE_HOST_IOCACHE_HOST_H

#include <iocache/iocache.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The largest number of workers that MP_set_nr_procs grants. */
#define IOCACHE_HOST_MOST_WORKERS 8
/** The exit code with which killer ends the program. */
#define IOCACHE_HOST_KILLED 70

/** Sets a configuration item, known or not, to a number. */
IOCACHE_HOST void iocache_host_set_number(int32_t item, int32_t number);
/** Sets a configuration item, known or not, to a copy of a text; null takes back what was set. */
IOCACHE_HOST void iocache_host_set_text(int32_t item, const char* text);
/** Sets an item by its name; null takes back what was set. 0, or -1 for a name that is not in the list above. */
IOCACHE_HOST int32_t iocache_host_set_option(const char* name, const char* text);
/** Reads this configuration file, in place of the usual one and of any that was read before. Lines that are not
 *  understood are reported through wrt_err and skipped. 0, or -1 when the file cannot be read. */
IOCACHE_HOST int32_t iocache_host_read_configuration(const char* path);

/** Hands every message of the library to this function, which any thread may call; null: back to standard error. */
IOCACHE_HOST void iocache_host_on_message(void (*handler)(const char* text));
/** Has killer call this function, from the thread on which the fatal error happened; null: back to ending the program.
 *  When the function returns, the library gives up what it was doing and answers failures from then on. */
IOCACHE_HOST void iocache_host_on_killer(void (*handler)(void));

#ifdef __cplusplus
}
#endif

#endif
