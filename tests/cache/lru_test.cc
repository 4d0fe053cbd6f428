// The LRU list by itself: linking and unlinking.
#include <gtest/gtest.h>

#include <iocache/iocache.h>

namespace {

class lru_list : public ::testing::Test {
protected:
    lru_list()
    {
        first_tile = nullptr;
        last_tile = nullptr;
    }
    ~lru_list() override
    {
        first_tile = nullptr;
        last_tile = nullptr;
    }
    void append_all()
    {
        for (cv_tile* tile : {&a, &b, &c}) cv_append_to_lru_list(tile);
    }
    void expect_order(std::initializer_list<const cv_tile*> wanted) const
    {
        const cv_tile* tile = first_tile;
        const cv_tile* before = nullptr;
        for (const cv_tile* expected : wanted) {
            ASSERT_EQ(tile, expected);
            EXPECT_EQ(tile->prev, before);
            before = tile;
            tile = tile->next;
        }
        EXPECT_EQ(tile, nullptr);
        EXPECT_EQ(last_tile, before);
    }

    cv_tile a = {};
    cv_tile b = {};
    cv_tile c = {};
};

TEST_F(lru_list, only_tile_is_both_oldest_and_newest)
{
    cv_append_to_lru_list(&a);
    EXPECT_EQ(first_tile, &a);
    EXPECT_EQ(last_tile, &a);
    EXPECT_EQ(a.next, nullptr);
    EXPECT_EQ(a.prev, nullptr);
}

TEST_F(lru_list, unlinking_the_only_tile_empties_both_ends)
{
    cv_append_to_lru_list(&a);
    cv_remove_from_lru_list(&a);
    EXPECT_EQ(first_tile, nullptr);
    EXPECT_EQ(last_tile, nullptr);
}

TEST_F(lru_list, appended_tile_is_the_newest)
{
    append_all();
    expect_order({&a, &b, &c});
}

TEST_F(lru_list, unlinking_joins_the_neighbours)
{
    append_all();
    cv_remove_from_lru_list(&b);
    expect_order({&a, &c});
}

TEST_F(lru_list, unlinking_the_oldest_makes_its_neighbour_the_oldest)
{
    append_all();
    cv_remove_from_lru_list(&a);
    expect_order({&b, &c});
}

TEST_F(lru_list, unlinking_the_newest_makes_its_neighbour_the_newest)
{
    append_all();
    cv_remove_from_lru_list(&c);
    expect_order({&a, &b});
}

TEST_F(lru_list, unlinked_tile_keeps_its_own_links)
{
    append_all();
    cv_remove_from_lru_list(&b);
    EXPECT_EQ(b.prev, &a);
    EXPECT_EQ(b.next, &c);
}

TEST_F(lru_list, stale_links_of_an_appended_tile_do_not_matter)
{
    append_all();
    cv_remove_from_lru_list(&a);
    cv_append_to_lru_list(&a);
    expect_order({&b, &c, &a});
}

}  // namespace
