/* The smallest host, in plain C: makes a canvas, stores a line of pixels, reads it back.
 *
 *   minimal_host FILE
 *
 * Linked with iocache and iocache_host:
 *
 *   cc minimal_host.c $(pkg-config --cflags --libs iocache_host iocache) -o minimal_host
 *
 * What a host has to do is numbered below; everything else is what this program does with its canvas.
 */
#include <iocache/iocache.h>
#include <iocache/iocache_host.h>

#include <stdint.h>
#include <stdio.h>
#include <string.h>

enum { kind_picture = 1, item_product_name = 22 };
enum { width = 20000, height = 10000, middle = height / 2 };
enum { bytes_per_pixel = 4 }; /* cyan, magenta, yellow, black: 0 is no ink, 255 is full ink */

/* One line of the picture: colour and alpha stand apart. */
struct line {
    uint8_t colour[width * bytes_per_pixel];
    uint8_t alpha[width];
};

static void draw(struct line* line)
{
    for (size_t x = 0; x < width; ++x) {
        uint8_t* const pixel = line->colour + x * bytes_per_pixel;
        pixel[0] = (uint8_t)(x * 255 / (width - 1)); /* cyan grows from left to right */
        pixel[1] = (uint8_t)(255 - pixel[0]);        /* magenta shrinks */
        pixel[2] = 0;
        pixel[3] = 0;
        line->alpha[x] = 255; /* opaque */
    }
}

/* Stores a line, reads it back and says whether it is the same. */
static int store_and_check(int32_t canvas)
{
    static struct line stored; /* static: too large for a stack */
    static struct line read;

    draw(&stored);
    if (cv_storeline(canvas, stored.colour, stored.alpha, middle, 0, width - 1) != 0) return 0;
    if (cv_getline(canvas, read.colour, read.alpha, middle, 0, width - 1) != 0) return 0;
    return memcmp(&stored, &read, sizeof stored) == 0;
}

/* For those who show files in lists: a small copy of the picture and an icon. The library makes those of the current
 * picture, when it is told to: a program that paints knows when it has time for them. */
static void make_small_images(int32_t canvas)
{
    current_canvas = canvas;
    current_cp = canvastable[canvas];
    canvas_make_tables(canvas);   /* which columns and rows are copied */
    cv_resample_picture();        /* from the tiles to cv_visu_pic, and to the file */
    cv_make_pic_icon(current_cp); /* from cv_visu_pic */
    cv_write_icon(canvas);
}

int main(int argument_count, char** arguments)
{
    if (argument_count != 2) {
        fprintf(stderr, "usage: minimal_host FILE\n");
        return 2;
    }
    const char* const path = arguments[1];
    int same = 0;

    /* 1. What the host wants otherwise than it comes; here the name that goes into every new file. Optional. */
    iocache_host_set_text(item_product_name, "minimal host");

    /* 2. Start: workers, memory for tiles, and where there are several processors the cache process. */
    cv_master_init();

    /* 3. A new canvas of 200 million pixels. Its file is small: only tiles that are written take room.
     *    Messages about failures have gone to standard error when a number below 0 comes back. */
    const int32_t canvas = canvas_new(path, kind_picture, 0, 0, width - 1, height - 1, 0, 0);
    if (canvas >= 0) {
        same = store_and_check(canvas);

        /* 4. Its small images; without this they stay empty. */
        make_small_images(canvas);

        /* 5. A new canvas is deleted when it is closed, unless it is marked to be kept. */
        cv_mark_canvas_save(canvas);
        canvas_close(canvas);
    }

    /* 6. The end: closes what is still open, ends workers and cache process. */
    cv_master_exit();

    if (!same) return 1;
    printf("%s: a line of %d pixels was stored and read back\n", path, width);
    return 0;
}
