// Work in pieces: everything is done, and once, whether or not there are threads to help.
#include "tools/colour/in_pieces.h"

#include <atomic>
#include <cerrno>
#include <vector>

#include <gtest/gtest.h>
#include <pthread.h>

#include "tests/support/real_function.h"

namespace {

std::atomic<bool> no_threads{false};

}  // namespace

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument)
{
    if (no_threads) return EAGAIN;
    static const auto real = iocache_test::real<decltype(pthread_create)>("pthread_create");
    return real(thread, attributes, start, argument);
}

namespace {

constexpr std::size_t piece = 8;

// How often each thing was done.
std::vector<int> done_in_pieces(std::size_t count)
{
    std::vector<int> done(count);
    iocache::tools::in_pieces(count, piece, [&](std::size_t first, std::size_t things) {
        EXPECT_LE(things, piece);
        for (std::size_t thing = first; thing < first + things; ++thing) ++done.at(thing);
    });
    return done;
}

class in_pieces : public testing::TestWithParam<std::size_t> {};

TEST_P(in_pieces, everything_is_done_once)
{
    EXPECT_EQ(done_in_pieces(GetParam()), std::vector<int>(GetParam(), 1));
}

TEST_P(in_pieces, everything_is_done_where_no_thread_can_be_made)
{
    no_threads = true;
    const std::vector<int> done = done_in_pieces(GetParam());
    no_threads = false;
    EXPECT_EQ(done, std::vector<int>(GetParam(), 1));
}

INSTANTIATE_TEST_SUITE_P(things, in_pieces, testing::Values(0, 1, piece - 1, piece, piece + 1, 1000 * piece + 3));

}  // namespace
