// Races between a client and the cache process, forced: in each round one of the two is stopped in the middle of its
// work while the other does the thing that might go wrong.
//
//   lost update   writing ahead writes a tile while the client changes it
//   no wait       a request that is not waited for is followed at once by another
//   pixel         a pixel is read out of memory while its tile is evicted
//
//   races [--rounds N] [--one-processor] [--seconds N] [--seed N] [--only RACE]
//
// On one processor both take turns, which is much faster where others work beside them: the order of what is forced is
// the same. Elsewhere they run at the same time.
//
// Exit code 0: nothing was wrong, and every race met its window. Rounds end with the number asked for, or with the
// time, whichever comes first.
#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include <sched.h>
#include <sys/mman.h>

#include "tests/cache/cache_test.h"
#include "tests/reliability/laboratory.h"
#include "tests/reliability/races/race_hooks.h"

namespace {

using namespace iocache_test;
using race_hooks::await;
using race_hooks::is_idle;
using race_hooks::is_stopped;
using race_hooks::place;

constexpr size_t tile_bytes = mask_tile_bytes;

// What a race counts. A round met its window when it did what it is for.
struct tally {
    int64_t rounds = 0;
    int64_t met = 0;
    int64_t wrong = 0;
};

// A mask of one row of tiles in a cache for five of them.
class race {
public:
    race(const laboratory_folder& folder, int32_t columns, uint32_t seed) : chance(seed)
    {
        const std::string name = folder.file("mask");
        std::filesystem::remove(name);
        cv_prefetch_allowed = cv_prewrite_allowed = 1;  // not 0 forbids
        mask = canvas_new(name.c_str(), 0, 0, 0, columns * tile_side - 1, tile_side - 1, 0, 0);
        if (mask < 0) std::abort();
        cv_mark_canvas_save(mask);
        file_name = name;
    }
    race(const race&) = delete;
    race& operator=(const race&) = delete;
    virtual ~race() { canvas_close(mask); }

    virtual void play(tally& count) = 0;
    // After the last round.
    virtual void look_at_file(tally& /*count*/) {}

protected:
    uint32_t random(uint32_t below) { return static_cast<uint32_t>(chance()) % below; }
    cv_tile_request& ask_for(int slot, int32_t column, bool write) const
    {
        cv_tile_request& request = fill_slot(slot, mask, first_pixel_of(column), write);
        static constexpr std::array opcodes = {opcode::one_slot, opcode::second_slot_only, opcode::third_slot_only};
        if (ask(opcodes[static_cast<size_t>(slot)]) != 0) std::abort();
        return request;
    }
    static uint64_t word_in(const cv_tile& tile, size_t offset)
    {
        uint64_t word = 0;
        std::memcpy(&word, tile.buffer + offset, sizeof word);
        return word;
    }
    static void put_word(const cv_tile& tile, uint64_t value, size_t offset)
    {
        std::memcpy(tile.buffer + offset, &value, sizeof value);
    }
    static constexpr size_t last_word = tile_bytes - sizeof(uint64_t);

    int32_t mask = -1;
    std::string file_name;
    std::minstd_rand chance;
};

// The tile's first and last word carry the number of its last change. What goes to the file must be whole, and a tile
// that counts as clean must be in the file as it is in memory.
class lost_update : public race {
public:
    lost_update(const laboratory_folder& folder, uint32_t seed) : race(folder, 1, seed)
    {
        race_hooks::on_tile_written = [this](uint64_t first, uint64_t last) {
            if (first != last) ++torn_;
            in_file_.store(first, std::memory_order_release);
        };
    }
    ~lost_update() override
    {
        await(is_idle);
        race_hooks::on_tile_written = nullptr;
    }

    void play(tally& count) override
    {
        change_all_at_once();
        static constexpr int steps = 5;  // before each of the four locks of writing ahead, and in the transfer
        const auto step = static_cast<int>(random(steps));
        race_hooks::arm(step == 0 ? place::transfer : place::lock, step);
        cv_start_prewrite();
        await([] { return is_stopped() || is_idle(); });
        if (is_stopped()) ++count.met;
        if (random(2) == 0) {
            change_all_at_once();
            race_hooks::go_on();
        } else {
            change_in_two_parts();
        }
        await(is_idle);
        if (!is_right()) ++count.wrong;
        ++count.rounds;
    }
    void look_at_file(tally& count) override
    {
        if (cv_flush_tiles(mask) != 0) std::abort();
        const bytes tile = canvas_file(file_name).tile(0, 0);
        for (const size_t place : {size_t{0}, last_word}) {
            uint64_t word = 0;
            std::memcpy(&word, tile.data() + place, sizeof word);
            if (word != change_) ++count.wrong;
        }
        count.wrong += torn_;
    }

private:
    void change_all_at_once()
    {
        const cv_tile_request& request = ask_for(0, 0, true);
        put_word(*request.tile, ++change_, 0);
        put_word(*request.tile, change_, last_word);
        let_go(request.tile);
    }
    // Holds the tile, half of it changed, until writing ahead is over.
    void change_in_two_parts()
    {
        const cv_tile_request& request = ask_for(0, 0, true);
        put_word(*request.tile, ++change_, 0);
        race_hooks::go_on();
        await(is_idle);
        put_word(*request.tile, change_, last_word);
        let_go(request.tile);
    }
    bool is_right() const
    {
        cv_tile* const tile = cached(mask, 0);
        const bool is_whole = word_in(*tile, 0) == change_ && word_in(*tile, last_word) == change_;
        const bool is_clean = std::atomic_ref(tile->dirty).load() == 0;
        return is_whole && (!is_clean || in_file_.load(std::memory_order_acquire) == change_);
    }

    uint64_t change_ = 0;
    std::atomic<uint64_t> in_file_{0};
    std::atomic<int64_t> torn_{0};
};

// Every request is a miss: eight tiles, one after the other, in a memory for five. The slots that it does not use name
// no canvas. The cache process is stopped with the first request heard, begun or half done until the second is rung.
class no_wait : public race {
public:
    no_wait(const laboratory_folder& folder, uint32_t seed) : race(folder, columns, seed)
    {
        for (int32_t column = 0; column < columns; ++column) change(column, 0);
    }

    void play(tally& count) override
    {
        static constexpr std::array places = {place::pick_up, place::lock, place::transfer};
        const place where = places[random(places.size())];
        const int64_t stops_before = race_hooks::stops_made();
        race_hooks::arm(where);
        cv_start_prewrite();
        if (where == place::transfer) await([] { return is_stopped() || is_idle(); });
        const bool served = answer_is_right(count.rounds);
        await(is_idle);
        if (race_hooks::stops_made() > stops_before) ++count.met;
        if (!served) ++count.wrong;
        ++count.rounds;
    }

private:
    static constexpr int32_t columns = 8;

    void change(int32_t column, int slot)
    {
        const cv_tile_request& request = ask_for(slot, column, true);
        put_word(*request.tile, ++numbers_[static_cast<size_t>(column)], 0);
        put_word(*request.tile, numbers_[static_cast<size_t>(column)], last_word);
        let_go(request.tile);
    }
    bool answer_is_right(int64_t round)
    {
        const auto column = static_cast<int32_t>(round % columns);
        const auto slot = static_cast<int>(round % 3);
        const bool write = round % 4 == 0;  // so that writing ahead has something to write
        for (cv_tile_request& other : parg.req) other.canvas = -1;
        cv_tile_request& request = ask_for(slot, column, write);
        cv_tile* const tile = request.tile;
        uint64_t& number = numbers_[static_cast<size_t>(column)];
        const bool is_this_tile = tile != nullptr && tile->canvas == canvastable[mask] && tile->x == column &&
                                  request.buffer == tile->buffer && request.run_x == 1;
        if (!is_this_tile) return false;
        const bool is_right = word_in(*tile, 0) == number && word_in(*tile, last_word) == number;
        if (write) {
            put_word(*tile, ++number, 0);
            put_word(*tile, number, last_word);
        }
        let_go(tile);
        return is_right;
    }

    std::array<uint64_t, columns> numbers_ = {};
};

// The page of the pixel cannot be read. The fault in the middle of the reading makes it readable, lets the cache
// process take the tile away, as far as the round wants it to get, and the same reading goes on.
class pixel : public race {
public:
    pixel(const laboratory_folder& folder, uint32_t seed) : race(folder, columns, seed)
    {
        for (int32_t column = 0; column < columns; ++column) {
            const cv_tile_request& request = ask_for(0, column, true);
            std::memset(request.buffer, value_of(column), tile_bytes);
            let_go(request.tile);
        }
        if (canvas_flush_all() != 0) std::abort();
        for (int32_t column = 0; column < tiles_in_memory; ++column) let_go(ask_for(0, column, false).tile);
        await(is_idle);
        cv_prefetch_allowed = 0;
        struct sigaction action = {};
        action.sa_handler = let_the_tile_go;
        sigaction(SIGSEGV, &action, &before_);
    }
    ~pixel() override
    {
        sigaction(SIGSEGV, &before_, nullptr);
        await(is_idle);
        cv_prefetch_allowed = 1;
    }

    void play(tally& count) override
    {
        await(is_idle);
        race_hooks::arm(place::lock_when_idle);
        const int32_t wanted = first_of_two_that_are_not_in_memory();
        fill_slot(0, mask, {wanted * tile_side, 0, (wanted + 2) * tile_side - 1, 0});
        if (ask(opcode::one_slot) != 0) std::abort();
        let_go(parg.req[0].tile);
        await([] { return is_stopped() || is_idle(); });

        const int32_t victim = first_tile->x;  // the oldest: the one that reading ahead takes
        const int32_t x = static_cast<int32_t>(random(tile_side));
        const int32_t y = static_cast<int32_t>(random(tile_side));
        uint8_t* const wanted_pixel = first_tile->buffer + int64_t{y} * tile_side + x;
        page = wanted_pixel - reinterpret_cast<uintptr_t>(wanted_pixel) % page_bytes;
        steps = static_cast<int>(random(most_steps));
        faults = 0;
        mprotect(page, page_bytes, PROT_NONE);
        uint32_t alpha = 0;
        const uint32_t value = cv_ask_value_pixel(canvastable[mask], victim * tile_side + x, y, &alpha);
        if (faults != 0) ++count.met;
        if (faults == 0) mprotect(page, page_bytes, PROT_READ | PROT_WRITE);
        race_hooks::go_on();
        if (value != value_of(victim)) ++count.wrong;
        ++count.rounds;
    }

private:
    static constexpr int32_t columns = 16;
    static constexpr int32_t tiles_in_memory = 5;
    static constexpr size_t page_bytes = 4096;
    static constexpr int most_steps = 8;  // locks that the cache process takes to evict and to fetch; 0: all of them

    static uint8_t value_of(int32_t column) { return static_cast<uint8_t>(0x21 + column); }

    int32_t first_of_two_that_are_not_in_memory()
    {
        const auto first = static_cast<int32_t>(random(columns - 1));
        for (int32_t i = 0; i < columns; ++i) {
            const int32_t column = (first + i) % (columns - 1);
            if (cached(mask, column) == nullptr && cached(mask, column + 1) == nullptr) return column;
        }
        std::abort();
    }
    static void let_the_tile_go(int /*signal*/)
    {
        if (++faults > 1) std::abort();
        mprotect(page, page_bytes, PROT_READ | PROT_WRITE);
        race_hooks::go_on(steps);
        await([] { return is_stopped() || is_idle(); });
    }

    static inline void* page;
    static inline int steps;
    static inline int faults;
    struct sigaction before_ = {};
};

template <class Race> int play(const char* name, const laboratory_options& options, int64_t rounds, double seconds)
{
    if (!options.only.empty() && options.only != name) return 0;
    const laboratory_folder folder;
    const running_library library(mode::process, {.cache_bytes = picture_tile_bytes});
    tally count;
    const stopwatch watch;
    {
        Race one(folder, options.seed);
        static constexpr int64_t rounds_between_looks_at_the_clock = 64;
        while (count.rounds < rounds &&
               (count.rounds % rounds_between_looks_at_the_clock != 0 || watch.seconds() < seconds))
            one.play(count);
        await(is_idle);
        one.look_at_file(count);
    }
    std::printf("| %s | %lld | %lld | %lld | %.0f |\n", name, static_cast<long long>(count.rounds),
                static_cast<long long>(count.met), static_cast<long long>(count.wrong),
                static_cast<double>(count.rounds) / watch.seconds());
    std::fflush(stdout);
    return count.wrong == 0 && count.met > 0 ? 0 : 1;
}

// Takes an option of this program alone out of the arguments, with so many values behind it. Null when it is not there.
const char* take_option(int& argc, char** argv, const char* name, int values)
{
    for (int i = 1; i + values < argc; ++i) {
        if (std::strcmp(argv[i], name) != 0) continue;
        const char* const last = argv[i + values];
        std::copy(argv + i + 1 + values, argv + argc, argv + i);
        argc -= 1 + values;
        return last;
    }
    return nullptr;
}

void stay_on_one_processor()
{
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(sched_getcpu(), &one);
    if (sched_setaffinity(0, sizeof one, &one) != 0) std::abort();
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): an exception ends the laboratory, as it should.
int main(int argc, char** argv)
{
    const char* const wanted = take_option(argc, argv, "--rounds", 1);
    const int64_t rounds = wanted != nullptr ? std::atoll(wanted) : std::numeric_limits<int64_t>::max();
    if (take_option(argc, argv, "--one-processor", 0) != nullptr) stay_on_one_processor();
    const laboratory_options options = parse_options(argc, argv);
    const double seconds = options.only.empty() ? options.seconds / 3 : options.seconds;
    std::printf("| race | rounds | met | wrong | rounds a second |\n|---|---|---|---|---|\n");
    int failed = 0;
    failed |= play<lost_update>("lost-update", options, rounds, seconds);
    failed |= play<no_wait>("no-wait", options, rounds, seconds);
    failed |= play<pixel>("pixel", options, rounds, seconds);
    return failed;
}
