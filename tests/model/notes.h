// What a process that runs a script tells those after it, in memory that outlives it: which files there are, what of
// them was written back, and how far it came.
#ifndef IOCACHE_TESTS_MODEL_NOTES_H
#define IOCACHE_TESTS_MODEL_NOTES_H

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>

#include "tests/model/model_canvas.h"
#include "tests/reliability/oracle.h"

namespace iocache_test {

inline constexpr size_t most_files = 256;
inline constexpr size_t most_noted_tiles = 40;
inline constexpr size_t path_bytes = 128;

struct file_note {
    enum class state { none, coming, there, going };
    std::atomic<state> now{state::none};
    std::array<char, path_bytes> path{};
    std::array<char, path_bytes> next_path{};  // while it is renamed
    int32_t kind = 0;
    model_extent extent{};
    std::atomic<bool> is_saved{false};
    std::array<oracle::tile, most_noted_tiles> tiles;
    // Which patterns its blocks and its name hold; 0: zeros.
    int32_t ink = 0, tqcms = 0, name = 0;
    std::atomic<bool> blocks_change{false};

    void set_path(const std::string& text) { std::snprintf(path.data(), path.size(), "%s", text.c_str()); }
    void set_next_path(const std::string& text)
    {
        std::snprintf(next_path.data(), next_path.size(), "%s", text.c_str());
    }
};

struct model_notes {
    std::array<file_note, most_files> files;
    std::atomic<size_t> step{0};         // being made
    std::atomic<bool> may_die{false};    // a kill is due
    std::atomic<int64_t> operations{0};  // steps that did something
    std::atomic<int64_t> kills{0};
    std::atomic<int64_t> tiles_looked_at{0};  // after a kill or a quick exit
    std::atomic<int64_t> full_disks{0};
    std::atomic<int64_t> most_open{0};
    std::array<char, 600> failure{};

    void begin()
    {
        for (file_note& file : files) file.now = file_note::state::none;
        step = 0;
        may_die = false;
        failure = {};
    }
    bool has_failed() const { return failure[0] != '\0'; }
    void note_failure(const std::string& text)
    {
        std::snprintf(failure.data(), failure.size(), "step %zu: %s", step.load() + 1, text.c_str());
    }
};

}  // namespace iocache_test

#endif
