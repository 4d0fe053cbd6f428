// Owners of what the C library hands out: streams, and memory from platform_allocate.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "iocache/platform/platform.h"

namespace iocache::platform {

struct close_file {
    void operator()(FILE* file) const { std::fclose(file); }
};
using owned_file = std::unique_ptr<FILE, close_file>;

struct free_memory {
    void operator()(void* memory) const { std::free(memory); }
};
template <class Item> using owned_memory = std::unique_ptr<Item, free_memory>;

// Zeroed memory; empty without any.
template <class Item> owned_memory<Item> allocate(int64_t bytes)
{
    return owned_memory<Item>(static_cast<Item*>(platform_allocate(bytes)));
}

}  // namespace iocache::platform
