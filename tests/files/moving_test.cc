// Copying a file, and moving it within a file system and to another one.
#include <cstring>

#include <sys/mount.h>

#include "tests/files/files_test.h"

namespace {

using namespace iocache_test;

constexpr size_t chunk_bytes = 4'194'304;

// A folder on another file system than the tests' own: the machine's memory disk, else one mounted for the test.
class other_disk {
public:
    explicit other_disk(const std::string& here)
    {
        std::string name = "/dev/shm/iocache-test-XXXXXX";
        if (mkdtemp(name.data()) != nullptr) folder_ = name;
        if (!folder_.empty() && facts_of(folder_).st_dev != facts_of(here).st_dev) return;
        remove();
        std::filesystem::create_directory(here + "/mounted");
        is_mounted_ = mount("tmpfs", (here + "/mounted").c_str(), "tmpfs", 0, "size=32M") == 0;
        if (is_mounted_) folder_ = here + "/mounted";
    }
    ~other_disk()
    {
        if (is_mounted_) umount2(folder_.c_str(), MNT_DETACH);
        if (!is_mounted_) remove();
    }
    other_disk(const other_disk&) = delete;
    other_disk& operator=(const other_disk&) = delete;

    bool is_there() const { return !folder_.empty(); }
    std::string path(const std::string& name) const { return folder_ + "/" + name; }

private:
    void remove()
    {
        if (!folder_.empty()) std::filesystem::remove_all(folder_);
        folder_.clear();
    }

    std::string folder_;
    bool is_mounted_ = false;
};

class moving : public files_test {
protected:
    void SetUp() override
    {
        start();
        forget_reports();
    }
    std::string file_of(const std::string& name, const bytes& contents)
    {
        write_whole_file(path(name), contents);
        return path(name);
    }
    static int32_t copy(const std::string& from, const std::string& to)
    {
        return copy_file_to_file(from.c_str(), to.c_str());
    }
    static int32_t rename(const std::string& from, const std::string& to)
    {
        return cv_rename_file(0, from.c_str(), to.c_str());
    }
};

TEST_P(moving, copy_has_every_byte_whatever_the_number_of_chunks)
{
    for (const size_t count : {size_t{1}, chunk_bytes - 1, chunk_bytes, chunk_bytes + 1, 2 * chunk_bytes + 777}) {
        const bytes contents = pattern(count);
        EXPECT_EQ(copy(file_of("from", contents), path("to")), 0) << count;
        EXPECT_TRUE(read_whole_file(path("to")) == contents) << count;
        EXPECT_TRUE(read_whole_file(path("from")) == contents) << count;
    }
    expect_no_report();
}

TEST_P(moving, copy_goes_through_the_shared_buffer_and_no_further_than_a_chunk)
{
    std::memset(Rbuf, 0xEE, chunk_bytes + 1);
    ASSERT_EQ(copy(file_of("from", pattern(chunk_bytes + 10)), path("to")), 0);
    const bytes contents = pattern(chunk_bytes + 10);
    EXPECT_EQ(std::memcmp(Rbuf, contents.data() + chunk_bytes, 10), 0);
    EXPECT_EQ(std::memcmp(Rbuf + 10, contents.data() + 10, chunk_bytes - 10), 0);
    EXPECT_EQ(Rbuf[chunk_bytes], 0xEE);
}

TEST_P(moving, copy_replaces_a_longer_file)
{
    EXPECT_EQ(copy(file_of("from", pattern(10)), file_of("to", pattern(5000, 2))), 0);
    EXPECT_EQ(read_whole_file(path("to")), pattern(10));
}

TEST_P(moving, empty_file_cannot_be_copied)
{
    EXPECT_EQ(copy(file_of("from", {}), path("to")), -255) << "as hosts expect";
    expect_report(999213, {"Error writing to " + path("to")});
    EXPECT_EQ(error_m, "Error writing to " + path("to"));
}

TEST_P(moving, source_that_cannot_be_opened_is_told)
{
    EXPECT_EQ(copy(path("none"), path("to")), -255);
    expect_report(999211, {"cannot open " + path("none")});
    EXPECT_EQ(error_m, "cannot open " + path("none"));
    EXPECT_FALSE(exists(path("to")));
}

TEST_P(moving, target_that_cannot_be_opened_is_told)
{
    EXPECT_EQ(copy(file_of("from", pattern(10)), path("none/to")), -255);
    expect_report(999212, {"cannot open " + path("none/to")});
    EXPECT_EQ(error_m, "cannot open " + path("none/to"));
}

TEST_P(moving, short_write_is_told_and_leaves_the_source)
{
    const bytes contents = pattern(10'000);
    file_of("from", contents);
    {
        const file_size_limit limit(6000);
        EXPECT_EQ(copy(path("from"), path("to")), -255);
    }
    expect_report(999213, {"Error writing to " + path("to")});
    EXPECT_EQ(read_whole_file(path("from")), contents);
}

TEST_P(moving, failure_in_a_later_chunk_is_told)
{
    file_of("from", pattern(chunk_bytes + 10));
    {
        const file_size_limit limit(chunk_bytes);
        EXPECT_EQ(copy(path("from"), path("to")), -255);
    }
    expect_report(999213, {"Error writing to " + path("to")});
}

TEST_P(moving, source_that_cannot_be_read_is_a_failed_copy)
{
    std::filesystem::create_directory(path("folder"));
    EXPECT_EQ(copy(path("folder"), path("to")), -255);
    expect_report(999213, {"Error writing to " + path("to")});
}

TEST_P(moving, file_copied_onto_itself_is_left_alone)
{
    const bytes contents = pattern(5000);
    file_of("from", contents);
    std::filesystem::create_symlink(path("from"), path("link"));
    for (const std::string& same : {path("from"), path("link")}) {
        forget_reports();
        EXPECT_EQ(copy(path("from"), same), -255);
        EXPECT_EQ(cv_errno, 999212);
        EXPECT_EQ(read_whole_file(path("from")), contents);
    }
}

TEST_P(moving, every_end_of_a_copy_closes_both_files)
{
    file_of("from", pattern(10'000));
    file_of("empty", {});
    const size_t before = open_descriptors();
    copy(path("from"), path("to"));
    copy(path("empty"), path("to"));
    copy(path("none"), path("to"));
    copy(path("from"), path("none/to"));
    {
        const file_size_limit limit(6000);
        copy(path("from"), path("to"));
    }
    EXPECT_EQ(open_descriptors(), before);
}

TEST_P(moving, file_that_stays_on_its_disk_is_renamed)
{
    std::filesystem::create_directory(path("folder"));
    const bytes contents = pattern(5000);
    const auto inode = facts_of(file_of("from", contents)).st_ino;
    EXPECT_EQ(rename(path("from"), path("folder/to")), 0);
    EXPECT_EQ(facts_of(path("folder/to")).st_ino, inode) << "moved, not copied";
    EXPECT_EQ(read_whole_file(path("folder/to")), contents);
    EXPECT_FALSE(exists(path("from")));
    expect_no_report();
}

TEST_P(moving, empty_file_that_stays_on_its_disk_is_renamed_too)
{
    EXPECT_EQ(rename(file_of("from", {}), path("to")), 0);
    EXPECT_TRUE(exists(path("to")));
    EXPECT_FALSE(exists(path("from")));
}

TEST_P(moving, first_argument_of_a_rename_does_not_matter)
{
    file_of("from", pattern(10));
    EXPECT_EQ(cv_rename_file(-77, path("from").c_str(), path("to").c_str()), 0);
    EXPECT_EQ(read_whole_file(path("to")), pattern(10));
}

TEST_P(moving, rename_that_the_system_refuses_fails_without_a_word)
{
    std::filesystem::create_directory(path("folder"));
    file_of("from", pattern(10));
    EXPECT_EQ(rename(path("from"), path("folder")), -255);
    expect_no_report();
    EXPECT_EQ(read_whole_file(path("from")), pattern(10));
}

TEST_P(moving, target_folder_that_does_not_exist_is_told_by_the_copy)
{
    file_of("from", pattern(10));
    EXPECT_EQ(rename(path("from"), path("none/to")), -255);
    expect_report(999212, {"cannot open " + path("none/to")});
    EXPECT_EQ(read_whole_file(path("from")), pattern(10));
}

TEST_P(moving, source_that_does_not_exist_is_told_by_the_copy)
{
    EXPECT_EQ(rename(path("none"), path("to")), -255);
    expect_report(999211, {"cannot open " + path("none")});
    EXPECT_FALSE(exists(path("to")));
}

TEST_P(moving, target_without_a_folder_is_copied)
{
    const std::filesystem::path kept = std::filesystem::current_path();
    std::filesystem::current_path(path(""));
    file_of("from", pattern(10));
    std::filesystem::create_hard_link(path("from"), path("witness"));
    EXPECT_EQ(rename("from", "to"), 0);
    std::filesystem::current_path(kept);
    EXPECT_EQ(read_whole_file(path("to")), pattern(10));
    EXPECT_NE(facts_of(path("to")).st_ino, facts_of(path("witness")).st_ino) << "no folder's disk is known";
    EXPECT_FALSE(exists(path("from")));
}

TEST_P(moving, file_for_another_disk_is_copied_and_deleted)
{
    const other_disk disk(path(""));
    if (!disk.is_there()) GTEST_SKIP() << "there is no other file system, and none can be mounted";
    const bytes contents = pattern(chunk_bytes + 5000);
    EXPECT_EQ(rename(file_of("from", contents), disk.path("to")), 0);
    EXPECT_TRUE(read_whole_file(disk.path("to")) == contents);
    EXPECT_FALSE(exists(path("from")));
    expect_no_report();
    EXPECT_EQ(rename(disk.path("to"), path("back")), 0);
    EXPECT_TRUE(read_whole_file(path("back")) == contents);
    EXPECT_FALSE(exists(disk.path("to")));
}

TEST_P(moving, file_that_does_not_fit_on_the_other_disk_stays)
{
    const other_disk disk(path(""));
    if (!disk.is_there()) GTEST_SKIP() << "there is no other file system, and none can be mounted";
    const bytes contents = pattern(10'000);
    file_of("from", contents);
    {
        const file_size_limit limit(6000);
        EXPECT_EQ(rename(path("from"), disk.path("to")), -255);
    }
    expect_report(999213, {("Error writing to " + disk.path("to")).substr(0, 99)});
    EXPECT_EQ(read_whole_file(path("from")), contents);
}

TEST_P(moving, empty_file_for_another_disk_stays)
{
    const other_disk disk(path(""));
    if (!disk.is_there()) GTEST_SKIP() << "there is no other file system, and none can be mounted";
    EXPECT_EQ(rename(file_of("from", {}), disk.path("to")), -255);
    EXPECT_EQ(cv_errno, 999213);
    EXPECT_TRUE(exists(path("from")));
}

TEST_P(moving, open_canvas_goes_to_another_disk_with_its_pixels)
{
    const other_disk disk(path(""));
    if (!disk.is_there()) GTEST_SKIP() << "there is no other file system, and none can be mounted";
    cv_canvas& canvas = open_new("mask", small_mask);
    ASSERT_EQ(store(canvas, 3, 0x47), 0);
    EXPECT_EQ(canvas_rename_file(canvas.index, disk.path("moved").c_str()), 0);
    EXPECT_FALSE(exists(path("mask")));
    ASSERT_EQ(store(canvas, 4, 0x48), 0);
    EXPECT_EQ(canvas_close(canvas.index), 0);
    const canvas_file moved(disk.path("moved"));
    EXPECT_EQ(moved.dirty(), 0);
    EXPECT_EQ(moved.pixel(0, 3), bytes{0x47});
    EXPECT_EQ(moved.pixel(0, 4), bytes{0x48});
}

TEST_P(moving, names_are_never_formats)
{
    EXPECT_EQ(copy(path("%s%n%d"), path("to")), -255);
    expect_report(999211, {"cannot open " + path("%s%n%d")});
}

INSTANTIATE_TEST_SUITE_P(, moving, in_line_mode(), mode_name);

}  // namespace
