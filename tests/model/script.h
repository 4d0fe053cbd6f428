// A script of the random model: how the library starts, and the steps that a host makes. Every script can be run,
// whatever is left out of it: what a step's numbers mean depends on the canvases that there are, and a step that finds
// nothing to work on does nothing.
#ifndef IOCACHE_TESTS_MODEL_SCRIPT_H
#define IOCACHE_TESTS_MODEL_SCRIPT_H

#include <array>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include "tests/support/library.h"

namespace iocache_test {

inline constexpr int32_t number_limit = 1000;  // numbers of a step lie below

struct step {
    size_t what = 0;     // which of step_kinds()
    int32_t canvas = 0;  // which canvas, counted among those that there are
    std::array<int32_t, 4> numbers = {};
};

struct script {
    mode how = mode::in_line;
    int32_t zones = 8;          // picture tiles in memory
    int32_t most_canvases = 5;  // open at once
    std::vector<step> steps;
};

class world;

// What a step does, and how often it is chosen. The simplest kinds come first: a script is made shorter towards them.
struct step_kind {
    const char* name;
    int32_t weight;
    void (*act)(world&, const step&);
};
const std::vector<step_kind>& step_kinds();

// One line for the library, then one a step: "store 2 10 500 999 7". Blank lines and what follows a '#' mean nothing.
std::string to_text(const script& what);
script read_script(std::istream& in);  // throws std::runtime_error with the line that is not understood

// A random script that fails, and the shortest found of those that fail like it. `fails` runs a script.
struct search_result {
    bool found = false;
    script original;
    script shortest;
    int runs = 0;  // to make it short
};
struct random_choice {
    uint64_t seed = 1;
    int32_t most_steps = 100;
    int most_runs = 3000;  // spent on making a script short
};
search_result run_random_script(const random_choice& choice, const std::function<bool(const script&)>& fails);

}  // namespace iocache_test

#endif
