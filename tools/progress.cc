// Draws the bar at most ten times a second.
#include "tools/progress.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

#include <fmt/format.h>

namespace iocache::tools {

namespace {

constexpr std::chrono::milliseconds between_drawings{100};
constexpr std::int64_t bar_width = 40;
constexpr const char* wipe_line = "\r\033[K";

}  // namespace

progress::progress(std::string what, std::int64_t total)
    : what_(std::move(what)),
      total_(std::max<std::int64_t>(1, total)),
      shown_(::isatty(STDERR_FILENO) != 0)
{}

progress::~progress()
{
    if (shown_) std::fputs(wipe_line, stderr);
}

void progress::advance(std::int64_t amount)
{
    done_ += amount;
    if (!shown_ || clock::now() < next_drawing_) return;
    next_drawing_ = clock::now() + between_drawings;
    draw();
}

void progress::draw() const
{
    const std::int64_t full = std::min(bar_width, bar_width * done_ / total_);
    const std::string bar =
        std::string(static_cast<std::size_t>(full), '#') + std::string(static_cast<std::size_t>(bar_width - full), '.');
    std::fputs(fmt::format("{}{} [{}] {:3}%", wipe_line, what_, bar, 100 * done_ / total_).c_str(), stderr);
    std::fflush(stderr);
}

}  // namespace iocache::tools
