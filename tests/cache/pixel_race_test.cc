// Single pixels read out of memory while the tile is taken away: the value is always one the pixel had.
#include <array>
#include <csignal>
#include <functional>
#include <thread>

#include <sys/mman.h>

#include "iocache/cache/peek.h"
#include "tests/cache/forced_test.h"

namespace {

using namespace iocache_test;

// Canvases whose every byte is the same, each in another value, so that a byte of the wrong tile is seen.
class pixel_race : public forced_test {
protected:
    static constexpr int32_t columns = 6;
    static uint8_t value_of(int32_t canvas, int32_t column)
    {
        return static_cast<uint8_t>(0x10 + canvas * columns + column);
    }
    void make_canvases(int64_t zones)
    {
        start_with_zones(zones);
        for (int32_t number = 0; number < 2; ++number) {
            canvases[static_cast<size_t>(number)] = number == 0 ? new_picture("picture", columns * tile_side, 256)
                                                                : new_mask("mask", columns * tile_side, 256);
            for (int32_t column = 0; column < columns; ++column)
                write_tile(canvases[static_cast<size_t>(number)], column, 0, value_of(number, column));
        }
        ASSERT_EQ(canvas_flush_all(), 0);
    }
    // Reads a pixel and says whether value and alpha are right.
    bool reads_right(int32_t canvas, int32_t column)
    {
        const uint8_t expected = value_of(canvas, column);
        uint32_t alpha = expected;
        const uint32_t value = cv_ask_value_pixel(canvastable[canvas], column * tile_side + 100, 100, &alpha);
        return value == (canvas == 0 ? expected * 0x01010101U : expected) && alpha == expected;
    }
    std::array<int32_t, 2> canvases = {};
};

// A tile that was never written lies where others lay before. Until it is cleared nobody may look at it; at each step of
// its being handed out one does.
TEST_P(pixel_race, pixel_of_a_tile_that_nobody_has_cleared_yet_is_not_looked_at)
{
    make_canvases(3);
    constexpr int32_t most_steps = 16;
    const int32_t fresh = new_picture("fresh", most_steps * tile_side, 256);
    int looks_at_a_tile = 0;
    for (int32_t step = 1; step <= most_steps; ++step) {
        for (int32_t column = 0; column < 3; ++column) read_tile(canvases[0], column);
        settle();
        hooks::paused = false;
        hooks::go_on = false;
        hooks::pause_at_idle_lock = 0;
        hooks::pause_behind_lock = in_process_mode() ? step : 0;
        std::atomic<bool> answered{false};
        int32_t result = -1;
        std::thread client([&] {
            result = request_tile(fresh, step - 1);
            answered = true;
        });
        ASSERT_TRUE(wait_for([&] { return hooks::paused || answered; }));
        if (cached(fresh, step - 1) != nullptr && !answered) ++looks_at_a_tile;
        uint32_t value = 0;
        uint32_t alpha = 0;
        if (iocache::cache::peek_pixel<true>(record_of(fresh), (step - 1) * tile_side + 5, 5, value, &alpha)) {
            EXPECT_EQ(value, 0U) << "step " << step;
            EXPECT_EQ(alpha, 0U) << "step " << step;
        }
        hooks::go_on = true;
        client.join();
        ASSERT_EQ(result, 0);
        let_go(parg.req[0].tile);
        EXPECT_TRUE(iocache::cache::peek_pixel<true>(record_of(fresh), (step - 1) * tile_side + 5, 5, value, &alpha));
        EXPECT_EQ(value, 0U);
        EXPECT_EQ(alpha, 0U);
    }
    EXPECT_TRUE(looks_at_a_tile > 0 || !in_process_mode()) << "no step was one at which the tile was there";
}

// Reading ahead takes tiles out of a memory for two; at each of its steps pixels of these tiles are asked for.
TEST_P(pixel_race, pixel_is_right_at_any_step_of_taking_its_tile_away)
{
    make_canvases(2);
    int steps_met = 0;
    for (int step = 1; step <= 100; ++step) {
        read_tile(canvases[0], 0);
        settle();
        cv_prefetch_allowed = 0;
        hooks::paused = false;
        hooks::go_on = false;
        hooks::pause_at_idle_lock = step;
        const int waits = hooks::waits;
        fill_slot(0, canvases[0], {tile_side, 0, columns * tile_side - 1, 0});
        ASSERT_EQ(ask(opcode::one_slot), 0);
        let_go(parg.req[0].tile);
        ASSERT_TRUE(wait_for([&] { return hooks::paused || hooks::waits > waits; }));
        const bool all_steps_done = !hooks::paused;
        if (!all_steps_done) {
            ++steps_met;
            std::thread opener([] {
                // A pixel that cannot be had from memory is asked of the cache process, which has to go on then.
                wait_for([] { return ustestsema(cv_tile_access_sema) > 0 || hooks::go_on; });
                hooks::go_on = true;
            });
            for (int32_t column = 0; column < 3; ++column) EXPECT_TRUE(reads_right(0, column)) << step;
            hooks::go_on = true;
            opener.join();
        }
        hooks::pause_at_lock = 0;
        settle();
        cv_prefetch_allowed = 1;
        ASSERT_EQ(canvas_flush_all(), 0);
        if (all_steps_done) break;
    }
    EXPECT_GT(steps_met, 10);
}

// Stops a reader in the middle: its memory cannot be read, and the fault lets the cache process take the tile away and
// put another in its place before the same read goes on.
class fault_in_the_middle {
public:
    explicit fault_in_the_middle(uint8_t* memory)
    {
        memory_ = memory;
        waits_ = hooks::waits;
        faults = 0;
        struct sigaction action = {};
        action.sa_handler = let_the_cache_process_go_on;
        sigaction(SIGSEGV, &action, &before_);
        mprotect(memory_, picture_tile_bytes, PROT_NONE);
    }
    ~fault_in_the_middle()
    {
        mprotect(memory_, picture_tile_bytes, PROT_READ | PROT_WRITE);
        sigaction(SIGSEGV, &before_, nullptr);
    }
    fault_in_the_middle(const fault_in_the_middle&) = delete;
    fault_in_the_middle& operator=(const fault_in_the_middle&) = delete;

    static inline std::atomic<int> faults;

private:
    static void let_the_cache_process_go_on(int /*signal*/)
    {
        ++faults;
        mprotect(memory_, picture_tile_bytes, PROT_READ | PROT_WRITE);
        hooks::go_on = true;
        wait_for([] { return hooks::waits > waits_; });
    }

    static inline uint8_t* memory_;
    static inline int waits_;
    struct sigaction before_ = {};
};

TEST_P(pixel_race, pixel_is_right_though_its_tile_goes_in_the_middle_of_the_read)
{
    make_canvases(2);
    read_tile(canvases[0], 0);
    settle();
    uint8_t* const memory = cached(canvases[0], 0)->buffer;
    cv_prefetch_allowed = 0;
    hooks::pause_at_idle_lock = 1;
    fill_slot(0, canvases[0], {tile_side, 0, columns * tile_side - 1, 0});
    ASSERT_EQ(ask(opcode::one_slot), 0);
    let_go(parg.req[0].tile);
    ASSERT_TRUE(wait_for([] { return hooks::paused.load(); }));
    {
        const fault_in_the_middle fault(memory);
        EXPECT_TRUE(reads_right(0, 0));
        EXPECT_EQ(fault_in_the_middle::faults, 1) << "the pixel was being read out of memory";
    }
    hooks::go_on = true;
    settle();
}

// Stops a reader twice: colour and alpha of a pixel lie in pages that cannot be read. At the first fault another tile
// takes the place of the pixel's tile, in the same entry and the same memory; at the second the tile comes back there.
class tile_comes_back {
public:
    tile_comes_back(uint8_t* memory, std::function<void(int32_t column)> bring)
    {
        memory_ = memory;
        bring_ = std::move(bring);
        faults = 0;
        struct sigaction action = {};
        action.sa_sigaction = exchange_tiles;
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &action, &before_);
        protect(PROT_NONE);
    }
    ~tile_comes_back()
    {
        protect(PROT_READ | PROT_WRITE);
        sigaction(SIGSEGV, &before_, nullptr);
    }
    tile_comes_back(const tile_comes_back&) = delete;
    tile_comes_back& operator=(const tile_comes_back&) = delete;

    static inline int faults;

private:
    static constexpr int32_t colour_bytes = 4 * tile_side * tile_side;

    static void protect(int how) { mprotect(memory_, picture_tile_bytes, how); }
    static void exchange_tiles(int /*signal*/, siginfo_t* fault, void* /*context*/)
    {
        protect(PROT_READ | PROT_WRITE);
        const bool in_colour = static_cast<uint8_t*>(fault->si_addr) < memory_ + colour_bytes;
        bring_(++faults == 1 ? 1 : 0);
        if (faults > 1) return;
        uint8_t* const other_plane = in_colour ? memory_ + colour_bytes : memory_;
        mprotect(other_plane, in_colour ? picture_tile_bytes - colour_bytes : colour_bytes, PROT_NONE);
    }

    static inline uint8_t* memory_;
    static inline std::function<void(int32_t)> bring_;
    struct sigaction before_ = {};
};

TEST_P(pixel_race, pixel_is_right_though_its_tile_goes_and_comes_back_in_the_middle_of_the_read)
{
    make_canvases(1);
    read_tile(canvases[0], 0);
    settle();
    const cv_tile* const entry = cached(canvases[0], 0);
    {
        const tile_comes_back twice(entry->buffer, [this](int32_t column) { read_tile(canvases[0], column); });
        EXPECT_TRUE(reads_right(0, 0));
        EXPECT_EQ(tile_comes_back::faults, 2) << "colour and alpha were being read out of memory";
    }
    EXPECT_EQ(cached(canvases[0], 0), entry) << "in the same entry";
}

TEST_P(pixel_race, many_readers_of_a_cache_of_two_tiles_always_read_right)
{
    make_canvases(2);
    std::atomic<int> wrong = 0;
    std::vector<std::thread> readers;
    for (uint32_t reader = 0; reader < 3; ++reader) {
        readers.emplace_back([this, reader, &wrong] {
            uint32_t state = reader * 7919 + 1;
            for (int round = 0; round < 800; ++round) {
                state = state * 1664525 + 1013904223;
                const auto canvas = static_cast<int32_t>(state >> 30 & 1);
                const auto column = static_cast<int32_t>((state >> 16) % columns);
                if (!reads_right(canvas, column)) ++wrong;
            }
        });
    }
    for (std::thread& reader : readers) reader.join();
    EXPECT_EQ(wrong, 0);
    settle();
}

TEST_P(pixel_race, readers_beside_a_client_that_writes_other_tiles_read_right)
{
    make_canvases(8);
    std::atomic<bool> done = false;
    std::atomic<int> wrong = 0;
    // The readers' tiles are always in memory, so that none of them posts beside the client.
    for (const int32_t column : {0, 1}) read_tile(canvases[0], column);
    std::thread reader([&] {
        for (int32_t round = 0; !done; ++round) {
            if (!reads_right(0, round % 2)) ++wrong;
        }
    });
    for (int round = 0; round < 400; ++round) {
        write_tile(canvases[1], round % columns, 0, static_cast<uint8_t>(round));
        for (const int32_t column : {0, 1}) read_tile(canvases[0], column);
        ASSERT_EQ(cv_flush_tiles_keep(canvases[1]), 0);
    }
    done = true;
    reader.join();
    EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(, pixel_race, ::testing::Values(mode::process), mode_name);

}  // namespace
