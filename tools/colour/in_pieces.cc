// Threads that take the next piece until none is left: one that is held up leaves its share to the others.
#include "tools/colour/in_pieces.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

namespace iocache::tools {

namespace {

std::size_t processors()
{
    return std::max<std::size_t>(1, std::thread::hardware_concurrency());
}

}  // namespace

void in_pieces(std::size_t count, std::size_t piece,
               const std::function<void(std::size_t first, std::size_t things)>& work)
{
    const std::size_t pieces = (count + piece - 1) / piece;
    std::atomic<std::size_t> next{0};
    const auto take_pieces = [&] {
        for (std::size_t taken = next++; taken < pieces; taken = next++) {
            const std::size_t first = taken * piece;
            work(first, std::min(piece, count - first));
        }
    };
    std::vector<std::jthread> helpers;  // waited for on the way out
    try {
        while (helpers.size() + 1 < std::min(pieces, processors())) helpers.emplace_back(take_pieces);
    } catch (const std::system_error&) {
        // No more threads for this user: those that there are do the work.
    }
    take_pieces();
}

}  // namespace iocache::tools
