/* Makes a small mask in the file that is named, stores one line, reads it back and leaves. */
#include <iocache/iocache.h>
#include <iocache/iocache_host.h>

#include <stdio.h>
#include <string.h>

enum { width = 100, height = 20, kind_mask = 0 };

int main(int count, char** arguments)
{
    unsigned char stored[width];
    unsigned char read_back[width] = {0};
    int32_t canvas = -1;
    int same = 0;

    if (count != 2) return 2;
    cv_master_init();
    canvas = canvas_new(arguments[1], kind_mask, 0, 0, width - 1, height - 1, 0, 0); /* no offset */
    if (canvas >= 0) {
        cv_mark_canvas_save(canvas); /* without it, closing deletes the file */
        memset(stored, 77, sizeof stored);
        same = cv_storeline(canvas, stored, NULL, 3, 0, width - 1) == 0 &&
               cv_getline(canvas, read_back, NULL, 3, 0, width - 1) == 0 &&
               memcmp(stored, read_back, sizeof stored) == 0 && canvas_close(canvas) == 0;
    }
    cv_master_exit();
    puts(same ? "same" : "different");
    return same ? 0 : 1;
}
