#include "tests/setup/failing_platform.h"

#include <cerrno>

#include "tests/support/real_function.h"

using iocache_test::the_platform;

iocache_test::failing_platform& iocache_test::the_platform()
{
    static failing_platform platform;
    return platform;
}

void iocache_test::failing_platform::add(const std::string& event)
{
    const std::lock_guard held(guard_);
    events_.push_back(event);
}

std::vector<std::string> iocache_test::failing_platform::events()
{
    const std::lock_guard held(guard_);
    return events_;
}

void iocache_test::failing_platform::clear()
{
    const std::lock_guard held(guard_);
    events_.clear();
}

namespace {

using iocache_test::real;

bool fails(const std::string& object)
{
    if (the_platform().failing != object) return false;
    errno = the_platform().error;
    return true;
}

template <class Object> Object* made(Object* object, const std::string& name)
{
    the_platform().objects[object] = name;
    the_platform().add("made " + name);
    return object;
}

void freed(const void* object)
{
    the_platform().add("freed " + the_platform().objects[object]);
}

void run_cache_process(void* argument)
{
    the_platform().entry(argument);
    the_platform().add("ended process");
}

}  // namespace

extern "C" {

cv_arena* usinit(const char* file)
{
    the_platform().arena_descriptor = cv_tile_access_fdes_sema;
    if (fails("arena")) return nullptr;
    return made(real<decltype(usinit)>("usinit")(file), "arena");
}

cv_semaphore* usnewsema(cv_arena* arena, int32_t count)
{
    if (fails("semaphore")) return nullptr;
    return made(real<decltype(usnewsema)>("usnewsema")(arena, count), "semaphore");
}

void usfreesema(cv_semaphore* semaphore, cv_arena* arena)
{
    freed(semaphore);
    real<decltype(usfreesema)>("usfreesema")(semaphore, arena);
}

cv_lock* _nlock(cv_arena* arena)
{
    const std::string name = "lock " + std::to_string(++the_platform().locks_made);
    if (fails(name)) return nullptr;
    return made(real<decltype(_nlock)>("_nlock")(arena), name);
}

void _freelock(cv_lock* lock, cv_arena* arena)
{
    freed(lock);
    real<decltype(_freelock)>("_freelock")(lock, arena);
}

cv_barrier* new_barrier(cv_arena* arena)
{
    if (fails("barrier")) return nullptr;
    return made(real<decltype(new_barrier)>("new_barrier")(arena), "barrier");
}

void free_barrier(cv_barrier* barrier)
{
    freed(barrier);
    real<decltype(free_barrier)>("free_barrier")(barrier);
}

int32_t sproc(void (*entry)(void*), uint32_t share_flags, void* argument)
{
    the_platform().entry = entry;
    the_platform().share_flags = share_flags;
    the_platform().argument = argument;
    if (fails("process")) return -1;
    the_platform().add("made process");
    return real<decltype(sproc)>("sproc")(run_cache_process, share_flags, argument);
}

int32_t setinvent()
{
    the_platform().inventory_position = 0;
    if (!the_platform().inventory) return real<decltype(setinvent)>("setinvent")();
    the_platform().add("opened inventory");
    return 0;
}

cv_inventory* getinvent()
{
    if (!the_platform().inventory) return real<decltype(getinvent)>("getinvent")();
    std::vector<cv_inventory>& records = *the_platform().inventory;
    const size_t position = the_platform().inventory_position++;
    if (position == records.size()) the_platform().add("came to the end of the inventory");
    return position < records.size() ? &records[position] : nullptr;
}

void endinvent()
{
    if (!the_platform().inventory) return real<decltype(endinvent)>("endinvent")();
    the_platform().add("closed inventory");
}

}  // extern "C"
