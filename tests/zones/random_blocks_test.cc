// Thousands of takes and frees against a plain list of the blocks that are out.
#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <random>
#include <vector>

#include "tests/zones/zone_map.h"

using namespace iocache_test;

namespace {

constexpr int32_t zones = 23;

// Blocks that are out: their offsets in the region and their sizes.
class blocks_out {
public:
    // Where the next block of this size belongs.
    std::optional<int64_t> place_for(int32_t bytes) const
    {
        std::optional<int64_t> place = place_in(bytes, zone_use::partly);
        return place ? place : place_in(bytes, zone_use::free);
    }
    void take(int64_t offset, int32_t bytes) { sizes_[offset] = bytes; }
    void give_back(int64_t offset) { sizes_.erase(offset); }
    bool empty() const { return sizes_.empty(); }
    std::pair<int64_t, int32_t> pick(std::mt19937& random) const
    {
        auto chosen = sizes_.begin();
        std::advance(chosen, std::uniform_int_distribution<std::ptrdiff_t>(0, std::ssize(sizes_) - 1)(random));
        return *chosen;
    }
    std::string drawn() const
    {
        std::string all;
        for (int32_t zone = 0; zone < zones; ++zone) {
            const int64_t start = int64_t{zone} * picture_bytes;
            if (use(zone, picture_bytes) == zone_use::free) {
                all += '.';
            } else if (sizes_.contains(start) && sizes_.at(start) == picture_bytes) {
                all += 'P';
            } else {
                all += '{';
                for (int32_t index = 0; index < 5; ++index)
                    all += sizes_.contains(start + index * mask_bytes) ? 'x' : '.';
                all += '}';
            }
        }
        return all;
    }

private:
    enum class zone_use { free, partly, otherwise };

    zone_use use(int32_t zone, int32_t bytes) const
    {
        const int64_t start = int64_t{zone} * picture_bytes;
        const auto first = sizes_.lower_bound(start);
        const auto last = sizes_.lower_bound(start + picture_bytes);
        if (first == last) return zone_use::free;
        const bool has_room = std::distance(first, last) < picture_bytes / bytes;
        return first->second == bytes && has_room ? zone_use::partly : zone_use::otherwise;
    }
    std::optional<int64_t> place_in(int32_t bytes, zone_use wanted) const
    {
        for (int64_t offset = 0; offset < int64_t{zones} * picture_bytes; offset += bytes) {
            const auto zone = static_cast<int32_t>(offset / picture_bytes);
            if (use(zone, bytes) == wanted && !sizes_.contains(offset)) return offset;
        }
        return std::nullopt;
    }

    std::map<int64_t, int32_t> sizes_;
};

class random_blocks : public ::testing::TestWithParam<uint32_t> {};

TEST_P(random_blocks, lie_where_the_rules_put_them)
{
    std::mt19937 random(GetParam());
    ASSERT_EQ(cv_alloc_init(int64_t{zones} * picture_bytes), 0);
    blocks_out out;
    for (int step = 0; step < 4000; ++step) {
        // Phases of mostly taking and mostly giving back, so that the region gets full and empty.
        const bool taking = random() % 100 < (step / 200 % 2 == 0 ? 70U : 30U);
        if (taking || out.empty()) {
            const int32_t bytes = random() % 3 == 0 ? picture_bytes : mask_bytes;
            const std::optional<int64_t> expected = out.place_for(bytes);
            const uint8_t* const block = taken(bytes);
            ASSERT_EQ(block != nullptr, expected.has_value()) << "step " << step << " " << out.drawn();
            if (block == nullptr) continue;
            ASSERT_EQ(block - cv_alloc_adress, *expected) << "step " << step << " " << out.drawn();
            out.take(*expected, bytes);
        } else {
            const auto [offset, bytes] = out.pick(random);
            cv_alloc_free(cv_alloc_adress + offset);
            ASSERT_EQ(cv_alloc_curr_size, bytes);
            out.give_back(offset);
        }
        ASSERT_EQ(drawn_zones(), out.drawn()) << "step " << step;
    }
}

INSTANTIATE_TEST_SUITE_P(seeds, random_blocks, ::testing::Range(1U, 6U));

}  // namespace
