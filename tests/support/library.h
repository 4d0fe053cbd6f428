// A library that runs for one test: in a chosen mode, with a cache of a chosen size, and with everything it tells its
// host written down.
#ifndef IOCACHE_TESTS_SUPPORT_LIBRARY_H
#define IOCACHE_TESTS_SUPPORT_LIBRARY_H

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <iocache/iocache.h>

#include "host/iocache_host.h"
#include "tests/support/temporary_folder.h"

namespace iocache_test {

enum class mode { in_line, process };

inline std::ostream& operator<<(std::ostream& out, mode m)
{
    return out << (m == mode::in_line ? "in_line" : "process");
}

// For INSTANTIATE_TEST_SUITE_P(, some_test, both_modes(), mode_name).
inline auto both_modes()
{
    return ::testing::Values(mode::in_line, mode::process);
}
inline std::string mode_name(const ::testing::TestParamInfo<mode>& info)
{
    return info.param == mode::in_line ? "in_line" : "process";
}

inline constexpr int64_t picture_tile_bytes = 327'680;
inline constexpr int64_t mask_tile_bytes = 65'536;

// What the library told its host. Any thread may tell.
class host_record {
public:
    static host_record& instance()
    {
        static host_record record;
        return record;
    }
    void add_message(const char* text)
    {
        const std::lock_guard held(guard_);
        messages_.emplace_back(text);
    }
    void add_kill()
    {
        const std::lock_guard held(guard_);
        ++kills_;
    }
    std::vector<std::string> messages() const
    {
        const std::lock_guard held(guard_);
        return messages_;
    }
    std::string last_message() const
    {
        const std::lock_guard held(guard_);
        return messages_.empty() ? "" : messages_.back();
    }
    int kills() const
    {
        const std::lock_guard held(guard_);
        return kills_;
    }
    void clear()
    {
        const std::lock_guard held(guard_);
        messages_.clear();
        kills_ = 0;
    }

private:
    mutable std::mutex guard_;
    std::vector<std::string> messages_;
    int kills_ = 0;
};

inline host_record& host()
{
    return host_record::instance();
}

struct settings {
    int64_t cache_bytes = 64 * picture_tile_bytes;  // rounded down to whole zones; 0 is a cache without a zone
    int workers = 2;
};

// Environment, host and configuration for a start in this mode, without starting.
inline void prepare(mode m, const settings& wanted = {})
{
    host().clear();
    iocache_host_on_message([](const char* text) { host().add_message(text); });
    iocache_host_on_killer([] { host().add_kill(); });
    for (const char* name : {"CV_CACHE_PROCESS", "TQ_NUMPROC", "TQ_CRE_LOG", "TQ_CRE_LOGS", "TQ_IMG0",
                             "CV_NON_CACHE_MEM", "CV_MIN_MAIN_MEM"})
        unsetenv(name);
    setenv("IOCACHE_CONFIG", "/dev/null", 1);
    setenv("CV_NON_CACHE_MEM", "100000000", 1);  // more than any machine has, so that the floor is the budget
    setenv("CV_MIN_MAIN_MEM", "1", 1);
    // In-line mode is that of one worker; a host with more has to be asked for it after the start.
    iocache_host_set_number(29, m == mode::in_line ? 1 : wanted.workers);
    if (m == mode::process) setenv("CV_CACHE_PROCESS", "1", 1);
}

// Starts the library; orderly exit at the end of the scope unless stop() was called before.
class running_library {
public:
    explicit running_library(mode m, const settings& wanted = {})
    {
        prepare(m, wanted);
        cv_master_init();
        cv_alloc_init(wanted.cache_bytes);  // no tile is in memory yet: a region of exactly this size
    }
    ~running_library() { stop(); }
    running_library(const running_library&) = delete;
    running_library& operator=(const running_library&) = delete;

    void stop()
    {
        if (running_) cv_master_exit();
        running_ = false;
    }

private:
    bool running_ = true;
};

// A running library and a folder of its own, for tests in one mode.
class library_test : public ::testing::TestWithParam<mode> {
protected:
    void start(const settings& wanted = {})
    {
        library_.reset();
        library_ = std::make_unique<running_library>(GetParam(), wanted);
    }
    void stop() { library_.reset(); }

    std::string path(const std::string& name) const { return folder_.path() + "/" + name; }

    // A new canvas at the origin without offsets, kept at close. Fails the test when it cannot be made.
    int32_t new_picture(const std::string& name, int32_t width, int32_t height) { return make(name, 1, width, height); }
    int32_t new_mask(const std::string& name, int32_t width, int32_t height) { return make(name, 0, width, height); }

private:
    int32_t make(const std::string& name, int32_t kind, int32_t width, int32_t height)
    {
        const int32_t canvas = canvas_new(path(name).c_str(), kind, 0, 0, width - 1, height - 1, 0, 0);
        EXPECT_GE(canvas, 0) << host().last_message();
        EXPECT_EQ(cv_mark_canvas_save(canvas), 0);
        return canvas;
    }

    temporary_folder folder_;
    std::unique_ptr<running_library> library_;
};

}  // namespace iocache_test

#endif
