// What the tests of transfers, closing and moving share: one mode where no request is made, and what a call prints.
#ifndef IOCACHE_TESTS_FILES_FILES_TEST_H
#define IOCACHE_TESTS_FILES_FILES_TEST_H

#include <string>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "tests/canvas/canvas_test.h"

namespace iocache_test {

// For tests of what is the same in both modes: nothing is asked of the cache process.
inline auto in_line_mode()
{
    return ::testing::Values(mode::in_line);
}

// What a call writes to standard output.
template <class Action> std::string printed_by(Action action)
{
    ::testing::internal::CaptureStdout();
    action();
    return ::testing::internal::GetCapturedStdout();
}

inline void forget_reports()
{
    host().clear();
    cv_errno = 0;
    error_m[0] = '\0';
}
inline void expect_no_report()
{
    EXPECT_EQ(cv_errno, 0);
    EXPECT_EQ(host().messages(), messages{});
}

inline struct stat facts_of(const std::string& file)
{
    struct stat facts = {};
    EXPECT_EQ(stat(file.c_str(), &facts), 0) << file;
    return facts;
}

// Bytes that differ from place to place.
inline bytes pattern(size_t count, uint32_t seed = 1)
{
    bytes result(count);
    uint32_t state = seed * 2'654'435'761U + 1U;
    for (uint8_t& byte : result) {
        state = state * 1'664'525U + 1'013'904'223U;
        byte = static_cast<uint8_t>(state >> 24U);
    }
    return result;
}

inline bytes part_of(const bytes& whole, size_t offset, size_t count)
{
    const auto start = whole.begin() + static_cast<std::ptrdiff_t>(offset);
    return {start, start + static_cast<std::ptrdiff_t>(count)};
}

// A running library and an open canvas whose failures the test provokes.
class files_test : public canvas_test {
protected:
    // An opening that failed may leave the creation mask changed.
    ~files_test() override { umask(kept_mask_); }

    // A new canvas between transfers: its one-shot stream closed, nothing reported so far.
    cv_canvas& settled(const std::string& name, const shape& wanted)
    {
        cv_canvas& canvas = open_new(name, wanted);
        if (canvas.fp != nullptr) std::fclose(std::exchange(canvas.fp, nullptr));
        forget_reports();
        return canvas;
    }

private:
    mode_t kept_mask_ = current_umask();
};

}  // namespace iocache_test

#endif
