#include "iocache/cache/doorbell.h"

#include <array>
#include <mutex>
#include <optional>

#include "iocache/cache/cache.h"
#include "iocache/cache/clearing.h"

namespace {

using namespace iocache::cache;

constexpr int32_t parties = 2;  // one client and the cache process

// Opcodes rung but not yet served, oldest first. Clients post one waited request at a time; pre-write is a wish, so a
// second one behind a first adds nothing and is not rung at all. Three places are then always enough.
class ring {
public:
    bool push(int32_t opcode, posting how)
    {
        const std::lock_guard held(guard_);
        const bool has_wish = wishes_ > 0;
        if (count_ == opcodes_.size() || (how == posting::go_on && has_wish)) return false;
        opcodes_[(first_ + count_) % opcodes_.size()] = {opcode, how};
        ++count_;
        if (how == posting::go_on) ++wishes_;
        return true;
    }

    std::optional<int32_t> pop()
    {
        const std::lock_guard held(guard_);
        if (count_ == 0) return std::nullopt;
        const posted oldest = opcodes_[first_];
        first_ = (first_ + 1) % opcodes_.size();
        --count_;
        if (oldest.how == posting::go_on) --wishes_;
        return oldest.opcode;
    }

    void clear()
    {
        const std::lock_guard held(guard_);
        first_ = count_ = wishes_ = 0;
    }

private:
    struct posted {
        int32_t opcode;
        posting how;
    };
    std::mutex guard_;
    std::array<posted, 8> opcodes_ = {};
    size_t first_ = 0;
    size_t count_ = 0;
    size_t wishes_ = 0;
};

ring rung;

// Cache side: the request being served was posted, so that its client comes back through post().
bool is_posted = false;

}  // namespace

bool iocache::cache::in_line()
{
    return cv_access_process == 1;
}

int32_t iocache::cache::post(int32_t opcode, posting how)
{
    parg.opcode = opcode;
    if (in_line()) {
        cv_tile_access_read(nullptr);
        return 0;
    }
    if (platform_barrier_broken(cv_tile_access_barrier) != 0) return -255;
    if (!rung.push(opcode, how)) return how == posting::go_on ? 0 : -255;
    usvsema(cv_tile_access_sema);
    if (how == posting::go_on) return 0;
    const int32_t result = barrier(cv_tile_access_barrier, parties);
    clear_tiles_left();
    return result;
}

int32_t iocache::cache::take_posted_opcode()
{
    const std::optional<int32_t> posted = rung.pop();
    is_posted = posted.has_value();
    return posted.value_or(parg.opcode);  // a host that rang without posting means what parg says
}

bool iocache::cache::client_clears()
{
    return !in_line() && is_posted;
}

bool iocache::cache::request_is_waiting()
{
    return !in_line() && ustestsema(cv_tile_access_sema) > 0;
}

void iocache::cache::meet_client()
{
    if (!in_line()) barrier(cv_tile_access_barrier, parties);
}

void iocache::cache::forget_posted_requests()
{
    rung.clear();
    forget_tiles_left();
}
