// A file that was not closed, and canvases that are closed with a fresh reduced image: what ends up in the file.
#include <filesystem>

#include "tests/reduced/reduced_test.h"

using namespace iocache_test;

namespace {

constexpr uint8_t fill = 0xA5;
constexpr size_t dirty_field = 0x368;

void mark_dirty(const std::string& path)
{
    bytes file = read_whole_file(path);
    put_big_endian(file, dirty_field, 4, 1);
    write_whole_file(path, file);
}

// The icon region of a file whose icon held zeros before.
bytes icon_region(const painting& image, const bytes& source, const reduced_model& model)
{
    bytes icon(100 * 100 * image.pixel_bytes(), 0);
    put_icon(icon, {}, source, model.width(), model.height(), image.pixel_bytes());
    icon.resize((icon.size() + 511) / 512 * 512, 0);
    return icon;
}

class remake_of : public painting_test {};

TEST_P(remake_of, a_file_that_was_not_closed_makes_image_and_icon_right)
{
    start();
    const painting image = shape().with_pattern();
    const reduced_model model(image);
    ASSERT_EQ(canvas_close(painted_canvas(image)), 0);
    mark_dirty(path("canvas"));

    const size_t in_use = model.pixels() * (image.is_picture() ? 9 : 1) + 512;
    other_rbuf host_buffer(in_use, fill);
    bytes expected(in_use, fill);
    model.put_remade(expected);
    const int32_t canvas = canvas_old(path("canvas").c_str());
    ASSERT_GE(canvas, 0) << host().last_message();
    EXPECT_TRUE(same_bytes(host_buffer.buffer().contents(), expected));
    EXPECT_TRUE(host_buffer.buffer().guards_are_intact());

    const canvas_file stored(path("canvas"));
    EXPECT_EQ(stored.dirty(), 1);  // left to the clean close
    const bytes region = stored.reduced_image();
    ASSERT_EQ(region.size(), model.is_subsampled() ? model.stored_bytes() : 0);
    EXPECT_TRUE(same_bytes(region, {expected.begin(), expected.begin() + static_cast<std::ptrdiff_t>(region.size())}));
    EXPECT_TRUE(same_bytes(stored.icon(), icon_region(image, expected, model)));
    EXPECT_EQ(locked_tiles(), 0);
    ASSERT_EQ(canvas_close(canvas), 0);
    EXPECT_EQ(canvas_file(path("canvas")).dirty(), 0);
}

INSTANTIATE_TEST_SUITE_P(, remake_of, every_shape(), mode_and_painting_name);

class remake : public reduced_test {
protected:
    // A closed file that says that it was not.
    void make_dirty_file(const painting& image, const std::string& name)
    {
        ASSERT_EQ(canvas_close(painted_canvas(image, name)), 0);
        mark_dirty(path(name));
    }
};

TEST_P(remake, puts_the_current_mask_and_its_tables_back)
{
    start();
    make_dirty_file(sized(0, 1500, 1100).with_pattern(), "dirty");
    const painting current = sized(0, 300, 200);
    const int32_t mask = painted_canvas(current, "current");
    const int32_t picture = painted_canvas(sized(1, 40, 40), "picture");
    canvas_make_tables(mask);
    const int32_t opened = canvas_old(path("dirty").c_str());
    ASSERT_GE(opened, 0);
    EXPECT_EQ(current_mask, mask);
    EXPECT_EQ(current_canvas, picture);
    const int32_t margin = (1024 - 300) / 2;
    for (int32_t x = 0; x < 300; ++x) ASSERT_EQ(cv_xsubtbl[x], (margin + x) * 16 + 1);
}

TEST_P(remake, puts_the_current_picture_and_its_tables_back)
{
    start();
    make_dirty_file(sized(1, 1500, 1100).with_pattern(), "dirty");
    const int32_t mask = painted_canvas(sized(0, 300, 200), "current");
    const int32_t picture = painted_canvas(sized(1, 40, 50), "picture");
    const int32_t opened = canvas_old(path("dirty").c_str());
    ASSERT_GE(opened, 0);
    EXPECT_EQ(current_mask, mask);
    EXPECT_EQ(current_canvas, picture);
    for (int32_t x = 0; x < 40; ++x) ASSERT_EQ(cv_xsubtbl[x], (492 + x) * 16 + 1);
    for (int32_t y = 0; y < 50; ++y) ASSERT_EQ(cv_ysubtbl[y], (487 + y) * 16 + 1);
}

TEST_P(remake, with_no_current_canvas_open_leaves_the_tables_of_the_remade_one)
{
    start();
    const painting image = sized(0, 1500, 1100).with_pattern();
    make_dirty_file(image, "dirty");
    current_mask = 17;
    const int32_t opened = canvas_old(path("dirty").c_str());
    ASSERT_GE(opened, 0);
    EXPECT_EQ(current_mask, 17);
    EXPECT_EQ(static_cast<uint16_t>(cv_xsubtbl[0]), reduced_model(image).frame_x() * 16 + 1);
}

TEST_P(remake, of_a_view_at_level_1_goes_to_the_window_file)
{
    start();
    const painting image = sized(0, 1500, 1100).with_pattern();
    const reduced_model model(image);
    const int32_t canvas = painted_canvas(image);
    other_rbuf host_buffer(size_t{1} << 20U, 0);
    canvastable[canvas]->geom.level = 1;
    cv_remake_dirty_file(canvas);
    bytes expected(size_t{1} << 20U, 0);
    model.put_remade(expected);
    EXPECT_TRUE(same_bytes(read_whole_file(path("canvass")), expected));
    const bytes region = canvas_file(path("canvas")).reduced_image();
    EXPECT_TRUE(same_bytes(region, bytes(region.size(), 0)));
    EXPECT_TRUE(same_bytes(canvas_file(path("canvas")).icon(), icon_region(image, expected, model)));
}

TEST_P(remake, of_a_view_at_level_2_stores_the_icon_only)
{
    start();
    const painting image = sized(1, 1500, 1100).with_pattern();
    const reduced_model model(image);
    const int32_t canvas = painted_canvas(image);
    other_rbuf host_buffer(model.pixels() * 9, 0);
    canvastable[canvas]->geom.level = 2;
    cv_remake_dirty_file(canvas);
    bytes expected(model.pixels() * 9, 0);
    model.put_remade(expected);
    EXPECT_FALSE(std::filesystem::exists(path("canvass")));
    const bytes region = canvas_file(path("canvas")).reduced_image();
    EXPECT_TRUE(same_bytes(region, bytes(region.size(), 0)));
    EXPECT_TRUE(same_bytes(canvas_file(path("canvas")).icon(), icon_region(image, expected, model)));
}

TEST_P(remake, of_an_empty_slot_does_nothing)
{
    start();
    const int32_t canvas = painted_canvas(sized(0, 300, 200));
    const int16_t* const columns = cv_xsubtbl;
    for (const int32_t none : {-1, canvas + 1, 50}) cv_remake_dirty_file(none);
    EXPECT_EQ(cv_xsubtbl, columns);
}

TEST_P(remake, of_a_region_larger_than_its_image_is_refused_as_a_write)
{
    start();
    const painting image = sized(0, 1500, 1100).with_pattern();
    const int32_t canvas = painted_canvas(image);
    const reduced_model model(image);
    other_rbuf host_buffer(model.stored_bytes());
    canvastable[canvas]->header->subsampled_bytes = static_cast<int32_t>(model.stored_bytes() + 512);
    cv_remake_dirty_file(canvas);
    EXPECT_EQ(cv_errno, 999208);
    EXPECT_TRUE(host_buffer.buffer().guards_are_intact());
}

INSTANTIATE_TEST_SUITE_P(, remake, both_modes(), mode_name);

// ---- regions of hostile files --------------------------------------------------------------------------------------

class stored_region : public reduced_test {};

TEST_P(stored_region, larger_than_the_librarys_buffer_fails_as_a_read)
{
    start();
    for (const int32_t kind : {0, 1}) {
        const painting image = sized(kind, 1500, 1100);
        const std::string file = path(kind == 0 ? "mask" : "picture");
        ASSERT_EQ(canvas_close(image.create(file)), 0);
        bytes contents = read_whole_file(file);
        // The region reaches beyond tables and file end; only its size matters here.
        put_big_endian(contents, 0x358, 4, (kind == 0 ? 1'048'576 : 5'242'880) + 512);
        write_whole_file(file, contents);
        const int32_t canvas = canvas_old(file.c_str());
        ASSERT_GE(canvas, 0);
        fill_own_buffers(fill);
        EXPECT_EQ(cv_read_subsampled(canvas), -255);
        EXPECT_EQ(cv_errno, 999203);
        EXPECT_EQ(cv_write_subsampled(canvas), -255);
        EXPECT_EQ(cv_errno, 999208);
        EXPECT_TRUE(same_bytes(own_picture_buffer(), bytes(sizeof cv_visu_pic, fill)));
        EXPECT_TRUE(same_bytes(own_mask_buffer(), bytes(sizeof cv_visu_mask, fill)));
    }
}

INSTANTIATE_TEST_SUITE_P(, stored_region, both_modes(), mode_name);

// ---- closing with the host's reduced image -------------------------------------------------------------------------

class closing_3d_of : public painting_test {};

TEST_P(closing_3d_of, a_canvas_stores_the_hosts_image_and_its_icon)
{
    start();
    const painting image = shape().with_pattern();
    const reduced_model model(image);
    const int32_t canvas = painted_canvas(image);
    other_rbuf host_buffer(model.stored_bytes(), fill);
    bytes buffer(model.stored_bytes(), fill);
    model.put(image.bounds(), buffer);
    std::copy(buffer.begin(), buffer.end(), host_buffer.buffer().data());

    EXPECT_EQ(canvas_close_3d(canvas), 0);
    EXPECT_EQ(canvastable[canvas], nullptr);
    const canvas_file stored(path("canvas"));
    const bytes region = stored.reduced_image();
    ASSERT_EQ(region.size(), model.is_subsampled() ? model.stored_bytes() : 0);
    EXPECT_TRUE(same_bytes(region, model.is_subsampled() ? buffer : bytes{}));
    EXPECT_TRUE(same_bytes(stored.icon(), icon_region(image, buffer, model)));
    EXPECT_EQ(stored.dirty(), 0);
    const rectangle& some = image.painted.front();
    const auto colour = image.colour(some.left, some.top);
    EXPECT_EQ(stored.pixel(some.left, some.top)[0], colour[0]);
}

INSTANTIATE_TEST_SUITE_P(, closing_3d_of, every_shape(), mode_and_painting_name);

class closing_3d : public reduced_test {};

TEST_P(closing_3d, of_an_empty_slot_fails)
{
    start();
    for (const int32_t none : {-1, 0, 49, 50}) EXPECT_EQ(canvas_close_3d(none), -255);
}

TEST_P(closing_3d, of_a_canvas_that_cannot_be_closed_stores_image_and_icon_all_the_same)
{
    start();
    const painting image = sized(0, 1500, 1100);
    const int32_t canvas = painted_canvas(image);
    const reduced_model model(image);
    other_rbuf host_buffer(model.stored_bytes(), 0x11);
    canvastable[canvas]->busy = 1;
    EXPECT_EQ(canvas_close_3d(canvas), -255);
    canvastable[canvas]->busy = 0;
    const canvas_file stored(path("canvas"));
    EXPECT_TRUE(same_bytes(stored.reduced_image(), bytes(model.stored_bytes(), 0x11)));
    EXPECT_EQ(stored.icon()[0], 0x11);
    EXPECT_EQ(canvas_close(canvas), 0);
}

TEST_P(closing_3d, of_an_unsaved_canvas_deletes_it)
{
    start();
    const int32_t canvas = painted_canvas(sized(0, 1500, 1100));
    cv_mark_canvas_nosave(canvas);
    EXPECT_EQ(canvas_close_3d(canvas), 0);
    EXPECT_FALSE(std::filesystem::exists(path("canvas")));
}

INSTANTIATE_TEST_SUITE_P(, closing_3d, both_modes(), mode_name);

// ---- zoom canvases -------------------------------------------------------------------------------------------------

class unlinking : public reduced_test {};

TEST_P(unlinking, a_zoom_canvas_frees_its_parent)
{
    start();
    const int32_t parent = sized(0, 30, 30).create(path("parent"));
    const int32_t zoom = sized(0, 30, 30).create(path("zoom"));
    canvastable[parent]->open_zooms = 2;
    canvastable[zoom]->is_zoom = canvastable[parent];
    EXPECT_EQ(cv_unlink_zoom(zoom), 0);
    EXPECT_EQ(canvastable[parent]->open_zooms, 1);
    EXPECT_EQ(canvastable[zoom]->is_zoom, nullptr);
    EXPECT_EQ(cv_unlink_zoom(zoom), -255);
    EXPECT_EQ(canvastable[parent]->open_zooms, 1);
    canvastable[parent]->open_zooms = 0;
}

TEST_P(unlinking, what_is_no_zoom_canvas_fails)
{
    start();
    const int32_t canvas = sized(0, 30, 30).create(path("canvas"));
    for (const int32_t none : {canvas, canvas + 1, -1, 50}) EXPECT_EQ(cv_unlink_zoom(none), -255);
    EXPECT_EQ(canvastable[canvas]->open_zooms, 0);
}

INSTANTIATE_TEST_SUITE_P(, unlinking, both_modes(), mode_name);

}  // namespace
