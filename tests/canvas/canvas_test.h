// What the tests of canvases and their files share: a running library, what a call may leave behind, and real trouble.
#ifndef IOCACHE_TESTS_CANVAS_CANVAS_TEST_H
#define IOCACHE_TESTS_CANVAS_CANVAS_TEST_H

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/file_reader.h"
#include "tests/support/file_size_limit.h"
#include "tests/support/library.h"

namespace iocache_test {

using messages = std::vector<std::string>;

// What a new canvas is asked to be.
struct shape {
    int32_t kind = 1;
    int32_t x_min = 0;
    int32_t y_min = 0;
    int32_t x_max = 99;
    int32_t y_max = 79;
    int32_t x_offset = 0;
    int32_t y_offset = 0;
};
inline constexpr shape small_picture{};
inline constexpr shape small_mask{.kind = 0};

inline std::string numbered(std::string name, int32_t number)
{
    name += std::to_string(number);
    return name;
}

inline bool exists(const std::string& file)
{
    return std::filesystem::exists(std::filesystem::symlink_status(file));
}

inline size_t open_descriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

inline int64_t used_slots()
{
    return std::ranges::count_if(canvastable, [](const cv_canvas* record) { return record != nullptr; });
}

// Bytes in use; 0 under a sanitizer, whose own leak check then looks.
inline size_t allocated_bytes()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return 0;
#else
    const struct mallinfo2 now = mallinfo2();
    return now.uordblks + now.hblkhd;
#endif
}

// What a process holds that a failed call must give back.
struct holdings {
    size_t descriptors = open_descriptors();
    int64_t slots = used_slots();
    size_t bytes = allocated_bytes();
    bool operator==(const holdings&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const holdings& h)
{
    return out << h.descriptors << " descriptors, " << h.slots << " slots, " << h.bytes << " bytes";
}

// The same call, again and again, holds no more: descriptors and slots exactly; memory but for what the C library keeps
// for itself (up to seven freed blocks of a size), which does not grow with the calls as a lost block would.
template <class Call> void expect_nothing_held(Call call)
{
    constexpr size_t calls = 40;
    constexpr size_t smallest_block_bytes = 32;
    for (int i = 0; i < 10; ++i) call();
    const holdings before;
    for (size_t i = 0; i < calls; ++i) call();
    const holdings after;
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.slots, before.slots);
    EXPECT_LT(after.bytes, before.bytes + calls * smallest_block_bytes / 2 + 1);
}

inline void expect_report(int32_t error, const messages& told)
{
    EXPECT_EQ(cv_errno, error);
    EXPECT_EQ(host().messages(), told);
}

// Only this many more files can be opened while this lives.
class descriptor_limit {
public:
    explicit descriptor_limit(size_t more)
    {
        getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit limit{lowest_free(more), before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    }
    ~descriptor_limit() { setrlimit(RLIMIT_NOFILE, &before_); }
    descriptor_limit(const descriptor_limit&) = delete;
    descriptor_limit& operator=(const descriptor_limit&) = delete;

private:
    // The number that the free descriptor behind `more` free ones has.
    static rlim_t lowest_free(size_t more)
    {
        rlim_t number = 0;
        for (;; ++number) {
            struct stat ignored = {};
            const bool is_free = fstat(static_cast<int>(number), &ignored) != 0;
            if (is_free && more-- == 0) return number;
        }
    }

    rlimit before_ = {};
};

// The creation mask as it is now.
inline mode_t current_umask()
{
    const mode_t now = umask(0);
    umask(now);
    return now;
}

class canvas_test : public library_test {
public:
    ~canvas_test() override { umask(mask_before_); }  // a stream that cannot be opened leaves another one

protected:
    int32_t create(const std::string& name, const shape& s)
    {
        return canvas_new(path(name).c_str(), s.kind, s.x_min, s.y_min, s.x_max, s.y_max, s.x_offset, s.y_offset);
    }
    // Creates a canvas that is kept and returns its record.
    cv_canvas& open_new(const std::string& name, const shape& s)
    {
        const int32_t canvas = create(name, s);
        EXPECT_GE(canvas, 0) << host().last_message();
        cv_mark_canvas_save(canvas);
        return *canvastable[canvas];
    }
    // Makes a file and closes it cleanly.
    std::string closed_file(const std::string& name, const shape& s)
    {
        EXPECT_EQ(canvas_close(open_new(name, s).index), 0);
        return path(name);
    }
    // A line of a mask, or of a picture with alpha, all of one value.
    static int32_t store(const cv_canvas& canvas, int32_t y, uint8_t value)
    {
        const auto pixels = static_cast<size_t>(canvas.geom_orig.width);
        const bytes colour(pixels * static_cast<size_t>(canvas.bytes_per_pixel), value);
        const bytes alpha(pixels, value);
        return cv_storeline(canvas.index, colour.data(), canvas.kind == 1 ? alpha.data() : nullptr, y,
                            canvas.geom_orig.x_min, canvas.geom_orig.x_max);
    }
    // The first bytes of a line's colour (or mask) pixels.
    static bytes line(const cv_canvas& canvas, int32_t y)
    {
        const auto pixels = static_cast<size_t>(canvas.geom_orig.width);
        bytes colour(pixels * static_cast<size_t>(canvas.bytes_per_pixel), 0xEE);
        bytes alpha(pixels, 0xEE);
        EXPECT_EQ(cv_getline(canvas.index, colour.data(), canvas.kind == 1 ? alpha.data() : nullptr, y,
                             canvas.geom_orig.x_min, canvas.geom_orig.x_max),
                  0);
        return colour;
    }
    static bool is_all(const bytes& data, uint8_t value)
    {
        return std::ranges::all_of(data, [value](uint8_t byte) { return byte == value; });
    }

private:
    const mode_t mask_before_ = current_umask();
};

}  // namespace iocache_test

#endif
