// A process that is killed while it writes a canvas: the file opens, its tiles are what had reached it, and reduced
// image and icon are made right from them.
//
// The killed process is real: a child that a SIGKILL ends, either at a chosen transfer of its own or from outside at a
// chosen line.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>

#include "tests/reduced/reduced_test.h"
#include "tests/support/killed_process.h"

using namespace iocache_test;
using namespace iocache_test::killing;

namespace {

constexpr uint8_t fill = 0xA5;
constexpr int frame = 128;  // small, so that a small canvas has a reduced image

// Shared with the child.
struct progress {
    std::atomic<int> lines{0};
    std::atomic<int> transfers{0};
    char arena_file[sizeof cv_tile_sema_file] = "";
};
// Takes away at its end what a killed child could not take away itself.
class shared_progress {
public:
    shared_progress()
        : memory_(mmap(nullptr, sizeof(progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)),
          progress_(new (memory_) progress)
    {}
    ~shared_progress()
    {
        if (progress_->arena_file[0] != '\0') unlink(progress_->arena_file);
        munmap(memory_, sizeof(progress));
    }
    shared_progress(const shared_progress&) = delete;
    shared_progress& operator=(const shared_progress&) = delete;
    progress* operator->() const { return progress_; }
    progress& operator*() const { return *progress_; }

private:
    void* memory_;
    progress* progress_;
};

// Creates the canvas and writes it line by line, with a cache so small that tiles reach the file meanwhile.
void write_canvas(mode m, const painting& image, const std::string& path, progress& done)
{
    running_library library(m, {(image.is_picture() ? 3 : 1) * picture_tile_bytes, 2});  // three or five tiles
    std::memcpy(done.arena_file, cv_tile_sema_file, sizeof done.arena_file);
    cv_max_lres_hor = cv_max_lres_vert = frame;
    const int32_t canvas = image.create(path);
    current_canvas = current_mask = canvas;
    for (const rectangle& r : image.painted) {
        for (int32_t y = r.top; y <= r.bottom; ++y) {
            cv_storeline(canvas, image.colour_line(y, r.left, r.right).data(),
                         image.alpha_line(y, r.left, r.right).data(), y, r.left, r.right);
            ++done.lines;
        }
    }
    canvas_close(canvas);
}

// The tiles that a cut off file holds, read without the library.
class cut_off_file {
public:
    explicit cut_off_file(const std::string& path) : file_(path) {}

    // The format's own check: only as many entries as there are slots are looked at.
    bool opens() const
    {
        for (int32_t i = 0; i < file_.tiles_written(); ++i) {
            if (entry(i) >= file_.tiles_written()) return false;
        }
        const int64_t needed = int64_t{file_.tiles_written()} * file_.tile_bytes() + int32_at(file_.contents(), 0x34C);
        return static_cast<int64_t>(file_.contents().size()) >= needed;
    }
    bool is_dirty() const { return file_.dirty() == 1; }
    int32_t tiles_written() const { return file_.tiles_written(); }
    // Bytes of a tile; zeros when it has no valid slot.
    bytes tile(int32_t number) const
    {
        const int32_t slot = entry(number);
        if (slot < 0 || slot >= file_.tiles_written()) return bytes(static_cast<size_t>(file_.tile_bytes()), 0);
        return file_.tile(number % file_.tiles_across(), number / file_.tiles_across());
    }
    bytes stored_image() const { return file_.reduced_image(); }
    bytes icon() const { return file_.icon(); }

private:
    int32_t entry(int32_t number) const
    {
        return int32_at(file_.contents(),
                        static_cast<size_t>(int32_at(file_.contents(), 0x348)) + 4 * static_cast<size_t>(number));
    }

    canvas_file file_;
};

// The remade image of these tiles, over a host buffer that was filled.
bytes remade_image(const painting& image, const reduced_model& model, const std::vector<bytes>& tiles)
{
    bytes buffer(model.pixels() * 9 + 512, fill);
    const rectangle visited = model.visited();
    for (size_t number = 0; number < tiles.size(); ++number) {
        const rectangle in_tile = image.part_in_tile(static_cast<int32_t>(number));
        const int32_t grid_x = static_cast<int32_t>(number) % image.tiles_across() * 256 - image.x_offset;
        const int32_t grid_y = static_cast<int32_t>(number) / image.tiles_across() * 256 - image.y_offset;
        for (const int32_t y : model.rows().between(in_tile.top, std::min(in_tile.bottom, visited.bottom))) {
            const size_t start = model.place(in_tile.left, y);
            size_t in_row = 0;
            for (const int32_t x : model.columns().between(in_tile.left, std::min(in_tile.right, visited.right))) {
                const auto source = static_cast<size_t>((y - grid_y) * 256 + x - grid_x);
                const size_t wide = image.pixel_bytes();
                std::copy_n(tiles[number].begin() + static_cast<std::ptrdiff_t>(source * wide), wide,
                            buffer.begin() + static_cast<std::ptrdiff_t>((start + in_row) * wide));
                if (image.is_picture())
                    buffer[4 * model.pixels() + 5 * start + in_row] = tiles[number][256 * 256 * 4 + source];
                ++in_row;
            }
        }
    }
    return buffer;
}

// What became of the files of killed processes.
struct outcomes {
    int opened = 0;
    int remade = 0;
    int refused = 0;
};

// Opens a file that a killed process left, in a library that runs, and compares everything.
void expect_right_file(const painting& image, const std::string& path, outcomes& seen)
{
    const cut_off_file before(path);
    std::vector<bytes> tiles;
    for (int32_t i = 0; i < image.tiles_across() * image.tiles_down(); ++i) tiles.push_back(before.tile(i));
    const reduced_model model(image, {frame, frame});
    const bytes remade = remade_image(image, model, tiles);
    other_rbuf host_buffer(remade.size(), fill);

    const int32_t canvas = canvas_old(path.c_str());
    if (!before.opens()) {
        EXPECT_EQ(canvas, -80);
        ++seen.refused;
        return;
    }
    ASSERT_GE(canvas, 0) << host().last_message();
    ++seen.opened;
    const cut_off_file after(path);
    if (before.is_dirty()) {
        ++seen.remade;
        EXPECT_TRUE(same_bytes(host_buffer.buffer().contents(), remade));
        const bytes stored = after.stored_image();
        ASSERT_EQ(stored.size(), model.stored_bytes());
        EXPECT_TRUE(same_bytes(stored, {remade.begin(), remade.begin() + static_cast<std::ptrdiff_t>(stored.size())}));
        bytes icon(100 * 100 * image.pixel_bytes(), 0);
        put_icon(icon, {}, remade, model.width(), model.height(), image.pixel_bytes());
        icon.resize(after.icon().size(), 0);
        EXPECT_TRUE(same_bytes(after.icon(), icon));
    } else {
        // Nothing had been written yet, or everything, and the header said so: the image is the one of the creation.
        EXPECT_TRUE(before.tiles_written() == 0 || before.tiles_written() == static_cast<int32_t>(tiles.size()));
        EXPECT_TRUE(same_bytes(after.stored_image(), bytes(after.stored_image().size(), 0)));
    }
    EXPECT_TRUE(host_buffer.buffer().guards_are_intact());
    // The tiles are what the file held, through the library too.
    const rectangle line{image.x_min, image.y_min + 5, image.x_max, image.y_min + 5};
    bytes colour(static_cast<size_t>(image.width()) * image.pixel_bytes());
    bytes alpha(static_cast<size_t>(image.width()));
    EXPECT_EQ(cv_getline(canvas, colour.data(), alpha.data(), line.top, line.left, line.right), 0);
    const auto first = static_cast<size_t>((line.top + image.y_offset) * 256 + line.left + image.x_offset);
    EXPECT_EQ(colour[0], tiles[0][first * image.pixel_bytes()]);
    EXPECT_EQ(canvas_close(canvas), 0);
    EXPECT_EQ(canvas_file(path).dirty(), 0);
}

class killed_process : public ::testing::TestWithParam<mode> {
protected:
    // Kills a child at each of the transfers that an undisturbed one makes, then opens what they left.
    void kill_at_every_transfer(const painting& image)
    {
        const int total = count_transfers(image);
        ASSERT_GT(total, 10);
        std::vector<std::string> files;
        for (int last = 1; last <= total; ++last) {
            const auto when = static_cast<moment>(last % 3);
            const std::string file = folder_.path() + "/" + std::to_string(last);
            const shared_progress shared;
            const int status = run_child([&] {
                last_moment = when;
                last_transfer = last;
                write_canvas(GetParam(), image, file, *shared);
            });
            // In process mode pre-write makes as many transfers as it finds time for.
            if (was_killed(status) && is_complete(file)) files.push_back(file);
        }
        // Many of the later transfers are then never reached.
        const int share = GetParam() == mode::process ? 8 : 2;
        ASSERT_GT(files.size(), static_cast<size_t>(total / share));
        open_all(image, files);
    }
    // Kills a child from outside after some of its lines.
    void kill_after_lines(const painting& image, const std::vector<int>& line_counts)
    {
        std::vector<std::string> files;
        for (const int lines : line_counts) {
            const std::string file = folder_.path() + "/" + std::to_string(lines);
            const shared_progress shared;
            const pid_t child = fork();
            if (child == 0) {
                write_canvas(GetParam(), image, file, *shared);
                _exit(0);
            }
            int status = 0;
            bool has_ended = false;
            while (shared->lines.load() < lines && !has_ended) {
                usleep(100);
                has_ended = waitpid(child, &status, WNOHANG) == child;
            }
            if (!has_ended) {
                kill(child, SIGKILL);
                waitpid(child, &status, 0);
            }
            EXPECT_TRUE(was_killed(status) || status == 0);
            ASSERT_TRUE(is_complete(file));
            files.push_back(file);
        }
        open_all(image, files);
    }

    // Slots that are handed out from the first tile to the last leave no file that the format refuses. Pre-write may
    // hand them out in another order.
    void expect_hardly_any_refused() const
    {
        EXPECT_TRUE(GetParam() == mode::process || seen.refused == 0) << seen.refused;
        EXPECT_GT(seen.opened, 2 * seen.refused);
    }

    outcomes seen;

private:
    int count_transfers(const painting& image)
    {
        const shared_progress shared;
        const std::string file = folder_.path() + "/whole";
        run_child([&] {
            last_transfer = -1;  // counts, and never comes
            write_canvas(GetParam(), image, file, *shared);
            shared->transfers = transfers_done.load();
        });
        return shared->transfers.load();
    }
    // A file that ends before its tile table was never a canvas: create had not returned.
    static bool is_complete(const std::string& file)
    {
        if (!std::filesystem::exists(file)) return false;
        const bytes contents = read_whole_file(file);
        if (contents.size() < 4096) return false;
        return static_cast<int64_t>(contents.size()) >= int32_at(contents, 0x34C);
    }
    void open_all(const painting& image, const std::vector<std::string>& files)
    {
        running_library library(GetParam());
        cv_max_lres_hor = cv_max_lres_vert = frame;
        for (const std::string& file : files) {
            SCOPED_TRACE(file);
            expect_right_file(image, file, seen);
            std::filesystem::remove(file);
        }
    }

    temporary_folder folder_;
};

TEST_P(killed_process, at_any_transfer_leaves_a_mask_that_opens_and_is_remade)
{
    kill_at_every_transfer(sized(0, 600, 1000).with_pattern());
    expect_hardly_any_refused();
    EXPECT_GT(seen.remade, 10);
    EXPECT_GT(seen.opened, seen.remade);  // some before the first tile
}

TEST_P(killed_process, at_any_transfer_leaves_a_picture_that_opens_and_is_remade)
{
    kill_at_every_transfer(shifted(1, {-10, 0, 399, 599}, 20, 30).with_pattern());
    expect_hardly_any_refused();
    EXPECT_GT(seen.remade, 10);
}

// Slots handed out from the last tile to the first: a file cut off between table and header names, in an entry that
// is looked at, a slot that the header does not count; the format refuses it. All others open.
TEST_P(killed_process, that_wrote_backwards_leaves_files_that_the_format_accepts_or_refuses)
{
    painting image = sized(0, 256, 3000);
    for (int32_t y = 2999; y >= 0; y -= 100) image.painted.push_back({0, y, 255, y});
    kill_at_every_transfer(image);
    EXPECT_GT(seen.refused, 0);
    EXPECT_GT(seen.remade, seen.refused);
}

TEST_P(killed_process, from_outside_leaves_a_canvas_that_opens_and_is_remade)
{
    std::vector<int> lines;
    for (int i = 1; i < 1100; i += 97) lines.push_back(i);
    kill_after_lines(sized(1, 500, 1100).with_pattern(), lines);
    expect_hardly_any_refused();
    EXPECT_GT(seen.remade, 5);
}

INSTANTIATE_TEST_SUITE_P(, killed_process, both_modes(), mode_name);

}  // namespace
