// Scripts as text.
#include "tests/model/script.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace iocache_test {

std::string to_text(const script& what)
{
    std::ostringstream text;
    text << "library " << what.how << " zones " << what.zones << " canvases " << what.most_canvases << '\n';
    for (const step& one : what.steps) {
        text << step_kinds()[one.what].name << ' ' << one.canvas;
        for (const int32_t number : one.numbers) text << ' ' << number;
        text << '\n';
    }
    return text.str();
}

namespace {

void read_library(std::istringstream& words, script& into)
{
    std::string how;
    std::string zones;
    std::string canvases;
    words >> how >> zones >> into.zones >> canvases >> into.most_canvases;
    if (how == "process") into.how = mode::process;
    if (how != "process" && how != "in_line") words.setstate(std::ios::failbit);
}

void read_step(const std::string& name, std::istringstream& words, script& into)
{
    const auto kind = std::ranges::find(step_kinds(), name, &step_kind::name);
    if (kind == step_kinds().end()) return words.setstate(std::ios::failbit);
    step one;
    one.what = static_cast<size_t>(kind - step_kinds().begin());
    words >> one.canvas;
    for (int32_t& number : one.numbers) words >> number;
    into.steps.push_back(one);
}

}  // namespace

script read_script(std::istream& in)
{
    script result;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string first;
        if (!(words >> first)) continue;
        if (first == "library") {
            read_library(words, result);
        } else {
            read_step(first, words, result);
        }
        if (!words) throw std::runtime_error("not understood: " + line);
    }
    return result;
}

}  // namespace iocache_test
