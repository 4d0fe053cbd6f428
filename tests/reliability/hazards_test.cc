// Hazards that no other test meets as a whole: buffers that end where memory ends, requests that fail half way, names
// made to be misread, tiles of any height, a host that forks.
#include <cstdarg>
#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/cache/cache_test.h"
#include "tests/canvas/edited_file.h"
#include "tests/support/painting.h"

namespace {

using namespace iocache_test;

constexpr int32_t rbuf_bytes = 16'777'216;  // what a host gives
constexpr int32_t mask_kind = 0;
constexpr int32_t picture_kind = 1;

// Memory between two pages that cannot be touched; it ends exactly where the second one begins.
class memory_at_the_edge {
public:
    explicit memory_at_the_edge(size_t bytes) : bytes_(bytes), inner_((bytes + page - 1) / page * page)
    {
        whole_ = static_cast<uint8_t*>(
            mmap(nullptr, inner_ + 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        mprotect(whole_, page, PROT_NONE);
        mprotect(whole_ + page + inner_, page, PROT_NONE);
    }
    ~memory_at_the_edge() { munmap(whole_, inner_ + 2 * page); }
    memory_at_the_edge(const memory_at_the_edge&) = delete;
    memory_at_the_edge& operator=(const memory_at_the_edge&) = delete;
    uint8_t* data() const { return whole_ + page + inner_ - bytes_; }

private:
    static constexpr size_t page = 4096;
    size_t bytes_;
    size_t inner_;
    uint8_t* whole_;
};

class hazards : public open_test {
protected:
    void SetUp() override { setenv("CV_NO_CLOSE_SYNC", "1", 1); }
    ~hazards() override { unsetenv("CV_NO_CLOSE_SYNC"); }

    void start_small() { start({.cache_bytes = 4 * picture_tile_bytes}); }
    // A line of every canvas row that is asked for, of one value in colour and alpha.
    static void draw_rows(int32_t canvas, std::initializer_list<int32_t> rows, uint8_t value)
    {
        for (const int32_t y : rows) EXPECT_EQ(store(*canvastable[canvas], y, value), 0) << y;
    }
    // Cuts the last tile off the file of a canvas whose tiles are all written and out of memory.
    void lose_last_tile(int32_t canvas, const std::string& name)
    {
        ASSERT_EQ(canvas_flush_all(), 0);
        const auto bytes = static_cast<off_t>(std::filesystem::file_size(path(name)));
        ASSERT_EQ(truncate(path(name).c_str(), bytes - canvastable[canvas]->tile_bytes), 0);
        cv_prefetch_allowed = 1;
    }
};

// ---- a buffer of the host's that ends where its memory ends --------------------------------------------------------

TEST_P(hazards, full_frame_picture_is_remade_inside_the_hosts_buffer)
{
    constexpr int32_t side = 2048;
    constexpr size_t pixels = size_t{1024} * 1024;
    constexpr size_t last_row = pixels - 1024;
    // The alpha of a tile's row begins at 5 bytes a pixel; the last tile's has 128 of them.
    constexpr size_t last_alpha = 4 * pixels + 5 * (last_row + 1024 - 128) + 127;
    for (const size_t room : {size_t{rbuf_bytes}, last_alpha + 1}) {
        start({.cache_bytes = 16 * picture_tile_bytes});
        const int32_t canvas = new_picture("c", side, side);
        draw_rows(canvas, {0, side - 2}, 0x5A);
        ASSERT_EQ(canvas_close(canvas), 0);
        edited_file(path("c")).put32(field::dirty, 1).save();

        const memory_at_the_edge host_buffer(room);
        uint8_t* const before = std::exchange(Rbuf, host_buffer.data());
        const int32_t opened = open();
        Rbuf = before;
        ASSERT_GE(opened, 0) << host().last_message();
        EXPECT_EQ(host_buffer.data()[last_alpha], 0x5A);
        EXPECT_EQ(host_buffer.data()[4 * pixels - 1], 0x5A);
        ASSERT_EQ(canvas_close(opened), 0);
        const bytes stored = canvas_file(path("c")).reduced_image();
        EXPECT_EQ(stored[4 * last_row], 0x5A);
        std::filesystem::remove(path("c"));
    }
}

TEST_P(hazards, reference_host_gives_a_buffer_of_16_mib)
{
    Dl_info where = {};
    ElfW(Sym)* symbol = nullptr;
    ASSERT_NE(dladdr1(bufR, &where, reinterpret_cast<void**>(&symbol), RTLD_DL_SYMENT), 0);
    ASSERT_NE(symbol, nullptr);
    EXPECT_GE(symbol->st_size, size_t{rbuf_bytes});
}

// ---- requests that fail half way -----------------------------------------------------------------------------------

TEST_P(hazards, column_whose_third_tile_cannot_be_read_keeps_what_came_before)
{
    for (const int32_t kind : {mask_kind, picture_kind}) {
        start_small();
        const int32_t canvas = kind == mask_kind ? new_mask("c", 10, 600) : new_picture("c", 10, 600);
        draw_rows(canvas, {0, 300, 599}, 0x31);
        lose_last_tile(canvas, "c");
        guarded_buffer colour(size_t{4} * 600, 0xEE);
        guarded_buffer alpha(600, 0xEE);
        EXPECT_EQ(cv_getcolumn(canvas, colour.data(), alpha.data(), 5, 0, 599), -255);
        const size_t pixel_bytes = kind == mask_kind ? 1 : 4;
        const bytes got = colour.contents();
        EXPECT_EQ(got[0], 0x31);
        EXPECT_EQ(got[300 * pixel_bytes], 0x31);
        EXPECT_TRUE(is_all(bytes(got.begin() + static_cast<std::ptrdiff_t>(512 * pixel_bytes), got.end()), 0xEE));
        EXPECT_TRUE(colour.guards_are_intact() && alpha.guards_are_intact());
        EXPECT_EQ(locked_tiles(), 0);
        EXPECT_EQ(cv_storecolumn(canvas, colour.data(), alpha.data(), 5, 0, 599), -255);
        EXPECT_EQ(locked_tiles(), 0);
        EXPECT_GE(host().kills(), 1);
        EXPECT_EQ(canvas_close(canvas), 0);
        stop();
        std::filesystem::remove(path("c"));
    }
}

TEST_P(hazards, view_whose_last_tile_cannot_be_read_is_none)
{
    for (const int32_t kind : {mask_kind, picture_kind}) {
        start_small();
        const int32_t canvas = kind == mask_kind ? new_mask("c", 600, 300) : new_picture("c", 600, 300);
        draw_rows(canvas, {0, 299}, 0x31);
        lose_last_tile(canvas, "c");
        const memory_at_the_edge buffer(size_t{4'194'304} + size_t{600} * 300);
        uint8_t* const before = std::exchange(Xbuf, buffer.data());
        EXPECT_EQ(cv_get_lowres_visu(canvas), -255);
        Xbuf = before;
        EXPECT_EQ(locked_tiles(), 0);
        int32_t width = 0;
        int32_t height = 0;
        EXPECT_EQ(cv_get_visualisation(canvas, &width, &height), nullptr);
        EXPECT_EQ(locked_tiles(), 0);
        EXPECT_EQ(canvas_close(canvas), 0);
        stop();
        std::filesystem::remove(path("c"));
    }
}

// What is stored of the canvas stays as it was: half a reduced image is never taken for a whole one.
TEST_P(hazards, remake_whose_last_tile_cannot_be_read_stores_no_image)
{
    for (const int32_t kind : {mask_kind, picture_kind}) {
        start({.cache_bytes = 4 * picture_tile_bytes});
        const int32_t canvas = kind == mask_kind ? new_mask("c", 1500, 300) : new_picture("c", 1500, 300);
        draw_rows(canvas, {0, 298}, 0x31);
        lose_last_tile(canvas, "c");
        const bytes before = canvas_file(path("c")).reduced_image();
        cv_remake_dirty_file(canvas);
        EXPECT_EQ(locked_tiles(), 0);
        EXPECT_GE(host().kills(), 1);
        EXPECT_TRUE(same_bytes(canvas_file(path("c")).reduced_image(), before));
        EXPECT_EQ(canvas_close(canvas), 0);
        stop();
        std::filesystem::remove(path("c"));
    }
}

// ---- sizes of a hostile header whose file has to be remade ---------------------------------------------------------

TEST_P(hazards, dirty_file_with_impossible_icon_or_table_is_refused)
{
    struct lie {
        size_t place;
        size_t bytes;
        int32_t value;
    };
    static constexpr lie lies[] = {
        {field::icon_width, 2, 103},      {field::icon_width, 2, 32'767},   {field::icon_width, 2, -1},
        {field::icon_height, 2, 103},     {field::icon_height, 2, -32'768}, {field::icon_bytes, 4, 9'999},
        {field::icon_bytes, 4, -1},       {field::image_kind, 2, 1},        {field::tile_table_bytes, 4, 11},
        {field::tile_table_bytes, 4, -4}, {field::tiles_written, 4, 129},   {field::tiles_written, 4, INT32_MAX},
        {field::y_max, 2, 32'767}};
    start_small();
    for (const lie& one : lies) {
        edited_file file(file_with_tiles({0, 0, 0, 599, 99, 0, 0}));
        file.put32(field::dirty, 1);
        one.bytes == 2 ? file.put16(one.place, one.value) : file.put32(one.place, one.value);
        file.save();
        EXPECT_EQ(open(), -80) << "place " << one.place << ", value " << one.value;
        EXPECT_EQ(cv_errno, 999400);
        EXPECT_EQ(used_slots(), 0);
        std::filesystem::remove(path("c"));
    }
}

// ---- names ---------------------------------------------------------------------------------------------------------

std::string console;

int write_down(const char* format, ...)
{
    char text[5000];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    console += text;
    return length;
}

TEST_P(hazards, long_names_with_percent_signs_are_text_everywhere)
{
    start_small();
    cv_printf = write_down;
    console.clear();
    std::string folder = path("100%s%n%d");
    while (folder.size() < 3'600) folder += "/" + std::string(100, 'f') + "%s%n%08x";
    std::filesystem::create_directories(folder);
    const std::string name = folder + "/" + std::string(200, 'c') + "%n%s%s%s";
    const std::string base = name.substr(name.rfind('/') + 1);

    const int32_t canvas = canvas_new(name.c_str(), mask_kind, 0, 0, 299, 99, 0, 0);
    ASSERT_GE(canvas, 0) << host().last_message();
    cv_mark_canvas_save(canvas);
    draw_rows(canvas, {0, 50}, 0x31);
    tq_logs = 1;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(canvas_rename_file(canvas, (name + ".%n").c_str()), 0) << host().last_message();
    EXPECT_EQ(canvas_rename_file(canvas, (folder + "/no%n/%s").c_str()), -255);
    EXPECT_EQ(host().last_message(), ("cannot open " + folder + "/no%n/%s").substr(0, 99)) << "cut, not overrun";
    EXPECT_EQ(canvas_close(canvas), 0);
    const std::string log = ::testing::internal::GetCapturedStdout();
    tq_logs = 0;
    EXPECT_NE(log.find("  Closing canvas " + name + ".%n\n"), std::string::npos);

    // A table entry that is no slot is told on the console, with the file's name.
    edited_file(name + ".%n").put_slot(1, -2).save();
    const int32_t again = canvas_old((name + ".%n").c_str());
    ASSERT_GE(again, 0) << host().last_message();
    EXPECT_NE(console.find(base + ".%n : tile 1 has no valid slot"), std::string::npos) << console;
    EXPECT_EQ(canvas_close(again), 0);
}

// ---- tiles of any height -------------------------------------------------------------------------------------------

// What a store says it has done is there to be read; what it refuses touches nothing. The table, behind the other
// regions, has an entry for every tile that the height may ask for.
TEST_P(hazards, tile_of_any_height_is_served_or_refused)
{
    constexpr int32_t width = 300;
    constexpr int32_t height = 700;
    constexpr size_t entries = size_t{2} * height;
    start_small();
    ASSERT_EQ(canvas_close(new_mask("c", width, height)), 0);
    edited_file file(path("c"));
    const size_t end = file.contents().size();
    file.cut_to(end + 4 * entries).fill(end, 4 * entries, 0xFF);
    file.put32(field::tile_table_offset, static_cast<int32_t>(end));
    file.put32(field::tile_table_bytes, static_cast<int32_t>(4 * entries));

    int32_t opened = 0;
    int32_t served = 0;
    int32_t refused = 0;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    const int32_t step = 101;
#else
    const int32_t step = GetParam() == mode::in_line ? 1 : 101;  // every height where that is quick
#endif
    for (int32_t tile_height = 1; tile_height <= 32'767; tile_height += tile_height < 300 ? 1 : step) {
        file.put16(field::tile_height, tile_height).save();
        const int32_t canvas = open();
        if (canvas < 0) continue;
        ++opened;
        const bytes line(width, static_cast<uint8_t>(tile_height | 1));
        for (const int32_t y : {0, 255, 256, 511, 699}) {
            if (cv_storeline(canvas, line.data(), nullptr, y, 0, width - 1) != 0) {
                ++refused;
                continue;
            }
            ++served;
            bytes read(width, 0);
            ASSERT_EQ(cv_getline(canvas, read.data(), nullptr, y, 0, width - 1), 0);
            ASSERT_EQ(read, line) << "row " << y << " of tiles " << tile_height << " high";
        }
        bytes column(height, 0);
        cv_getcolumn(canvas, column.data(), nullptr, 299, 0, height - 1);
        uint32_t alpha = 0;
        cv_ask_value_pixel(canvastable[canvas], 299, 699, &alpha);
        cv_clear_side(canvas);
        ASSERT_EQ(locked_tiles(), 0) << tile_height;
        cv_mark_canvas_nosave(canvas);
        ASSERT_EQ(canvas_close(canvas), 0);
    }
    EXPECT_GT(opened, 500);
    EXPECT_GT(served, 500);
    EXPECT_GT(refused, 200) << "rows behind a tile's bytes";
    EXPECT_EQ(host().kills(), 0);
}

INSTANTIATE_TEST_SUITE_P(, hazards, both_modes(), mode_name);

// ---- a host that forks ---------------------------------------------------------------------------------------------

class forked_host : public open_test {};

TEST_P(forked_host, childs_requests_answer_minus_255_and_the_parent_goes_on)
{
    start({.cache_bytes = picture_tile_bytes});
    const int32_t canvas = new_mask("c", 2000, 100);
    ASSERT_EQ(store(*canvastable[canvas], 3, 0x31), 0);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        alarm(20);
        bytes line(2000, 0);
        const std::array answers = {cv_getline(canvas, line.data(), nullptr, 3, 0, 1999),
                                    cv_storeline(canvas, line.data(), nullptr, 3, 0, 1999), cv_flush_tiles(canvas),
                                    cv_flush_tiles_keep(canvas), cv_start_prewrite()};
        _exit(static_cast<int>(std::ranges::count_if(answers, [](int32_t answer) { return answer != -255; })));
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "hung, or died of signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0) << "requests that answered something else";
    EXPECT_TRUE(is_all(line(*canvastable[canvas], 3), 0x31));
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_EQ(canvas_file(path("c")).pixel(1999, 3), bytes{0x31});
}

INSTANTIATE_TEST_SUITE_P(, forked_host, ::testing::Values(mode::process), mode_name);

}  // namespace
