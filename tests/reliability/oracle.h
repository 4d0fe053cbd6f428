// What a writer that may be killed at any moment has written back, in memory that outlives it.
//
// The writer notes a tile before its bytes go to the file and once they are there. A tile that was on its way when the
// writer died may hold the old bytes, the new ones, or some of both; every other tile holds what was noted last.
#ifndef IOCACHE_TESTS_RELIABILITY_ORACLE_H
#define IOCACHE_TESTS_RELIABILITY_ORACLE_H

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>

#include <sys/mman.h>

namespace iocache_test {

// A number that differs between contents; 0 stands for nothing.
inline uint64_t content_number(std::span<const uint8_t> content)
{
    constexpr uint64_t multiplier = 0x9E3779B97F4A7C15U;
    uint64_t number = content.size() + 1;
    for (size_t at = 0; at < content.size(); at += sizeof(uint64_t)) {
        uint64_t word = 0;
        std::memcpy(&word, content.data() + at, std::min(sizeof word, content.size() - at));
        number = (number ^ word) * multiplier;
        number ^= number >> 29U;
    }
    return number | 1U;
}

inline constexpr size_t most_tiles = 64;

struct oracle {
    struct tile {
        std::atomic<uint64_t> written{0};     // content number of what is in the file
        std::atomic<uint64_t> on_its_way{0};  // of what is being written; 0: nothing
    };
    std::array<tile, most_tiles> tiles;
    std::atomic<int64_t> writes{0};
    std::atomic<int64_t> appends{0};
    std::atomic<bool> is_working{false};  // the writer has begun to paint

    void forget()
    {
        for (tile& one : tiles) one.written = one.on_its_way = 0;
    }
};

// An object shared with every child.
template <class Object> class shared_object {
public:
    shared_object()
        : object_(new (mmap(nullptr, sizeof(Object), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Object)
    {}
    ~shared_object() { munmap(object_, sizeof(Object)); }
    shared_object(const shared_object&) = delete;
    shared_object& operator=(const shared_object&) = delete;
    Object* operator->() const { return object_; }
    Object& operator*() const { return *object_; }

private:
    Object* object_;
};

}  // namespace iocache_test

#endif
