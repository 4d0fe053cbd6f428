// The header from C++: makes a small mask in the file that is named and leaves.
#include <iocache/iocache.h>
#include <iocache/iocache_host.h>

int main(int count, char** arguments)
{
    if (count != 2) return 2;
    cv_master_init();
    constexpr int32_t mask = 0;
    constexpr int32_t width = 100;
    constexpr int32_t height = 20;
    const int32_t canvas = canvas_new(arguments[1], mask, 0, 0, width - 1, height - 1, 0, 0);
    const bool made = canvas >= 0 && canvas_close(canvas) == 0;
    cv_master_exit();
    return made ? 0 : 1;
}
