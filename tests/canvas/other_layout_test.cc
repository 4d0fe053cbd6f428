// Files without the magic number go to the conversion of the older layout; what that does not know either stays as it
// is and leaves nothing open.
#include "tests/canvas/edited_file.h"

using namespace iocache_test;

namespace {

// The conversion's own, and nothing besides.
const messages impossible{"convert old file : read error"};
const messages too_short{"convert old file : read problem"};

class other_layout : public open_test {};
INSTANTIATE_TEST_SUITE_P(, other_layout, both_modes(), mode_name);

TEST_P(other_layout, of_a_text_is_refused)
{
    bytes text;
    while (text.size() < 5000) text.insert(text.end(), {'t', 'e', 'x', 't', '\n'});
    write_whole_file(path("c"), text);
    expect_refused(-255, 999145, too_short);
}

TEST_P(other_layout, of_random_bytes_is_refused)
{
    bytes noise(20'000);
    uint32_t state = 1;
    for (uint8_t& byte : noise) byte = static_cast<uint8_t>((state = state * 1'664'525 + 1'013'904'223) >> 24U);
    noise[2] = 0xFF;  // a last column below 0
    write_whole_file(path("c"), noise);
    expect_refused(-255, 999136, impossible);
}

TEST_P(other_layout, of_a_canvas_with_a_damaged_magic_number_is_refused)
{
    edited_file file(closed_file("c", small_picture));
    file.put16(field::x_max, 32'767).put16(field::y_max, 32'767);  // more blocks than the file could hold
    for (const int32_t magic : {414'140, 0, -1}) {
        file.put32(field::magic, magic).save();
        expect_refused(-255, 999145, too_short);
    }
}

TEST_P(other_layout, leaves_the_other_canvases_alone)
{
    const int32_t canvas = create("other", small_mask);
    store(*canvastable[canvas], 3, 5);
    write_whole_file(path("c"), bytes(5000, 0xFF));
    expect_refused(-255, 999136, impossible);
    EXPECT_TRUE(is_all(line(*canvastable[canvas], 3), 5));
    EXPECT_EQ(create("next", small_mask), 1);
}

}  // namespace
