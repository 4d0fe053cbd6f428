// Opens a file of the older block format, which converts it. The input is the whole file.
#include <algorithm>

#include "fuzz/input_file.h"

namespace {

using namespace iocache_fuzz;

struct surroundings {
    scratch_folder folder;
    scratch_folder new_files;
    quiet_library library{new_files.path()};
    std::string path = folder.file("old");
};

surroundings& here()
{
    static surroundings all;
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    here();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    write_file(here().path, {data, size});
    const int32_t number = canvas_old(here().path.c_str());
    if (number >= 0) canvas_close(number);
    cv_free_palet();
    const bool is_left = std::any_of(std::begin(canvastable), std::end(canvastable),
                                     [](const cv_canvas* record) { return record != nullptr; });
    if (is_left || !std::filesystem::is_empty(here().new_files.path())) std::abort();
    return 0;
}
