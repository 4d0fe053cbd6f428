// What cannot be converted, or may not, is left exactly as it was, with nothing beside it.
#include <csignal>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

#include "tests/tools/support/old_files.h"

namespace tool_tests {

namespace {

using namespace std::chrono_literals;
using strings = std::vector<std::string>;

class convert_old_failure_test : public old_file_test {
protected:
    // Nothing changes, and the one line says this about the file `name`.
    void expect_refusal(const std::string& name, int exit_code, const std::string& told, const strings& options = {})
    {
        SCOPED_TRACE(name + " " + told);
        const strings before = files();
        const std::vector<std::uint8_t> bytes =
            std::filesystem::is_regular_file(path(name)) ? read_bytes(path(name)) : std::vector<std::uint8_t>{};
        const outcome result = convert({name}, options);
        EXPECT_EQ(result.exit_code, exit_code) << result.out;
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err.find(told), std::string::npos) << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(files(), before);
        if (!bytes.empty()) { EXPECT_TRUE(read_bytes(path(name)) == bytes); }
    }
    void expect_refusal_of(const std::vector<std::uint8_t>& bytes, const std::string& told)
    {
        write_bytes(path("file"), bytes);
        expect_refusal("file", 4, told);
    }
};

TEST_F(convert_old_failure_test, other_files_are_not_recognised)
{
    expect_refusal_of({}, "too short");
    expect_refusal_of(std::vector<std::uint8_t>(811, 0xEE), "too short");
    expect_refusal_of(std::vector<std::uint8_t>(5000, 'x'), "bytes long");
    expect_refusal_of(std::vector<std::uint8_t>(812 + 4096, 0), "makes no sense");
    write_png(path("a.png"), make_image(300, 300, model::rgb));
    write_jpeg(path("a.jpg"), make_image(300, 300, model::rgb));
    write_tiff(path("a.tif"), make_image(300, 300, model::rgb));
    expect_refusal("a.png", 4, "not an old file: it is a PNG image, of which `iocache import` makes a canvas");
    expect_refusal("a.jpg", 4, "not an old file: it is a JPEG image");
    expect_refusal("a.tif", 4, "not an old file: it is a TIFF image");
}

TEST_F(convert_old_failure_test, length_must_be_exact)
{
    for (const bool picture : {true, false}) {
        std::vector<std::uint8_t> file = block_file(pattern_pixels(130, 70, picture), {.flag = '0'});
        file.push_back(0);
        expect_refusal_of(file, "bytes long, and it has");
        file.resize(file.size() - 2);
        expect_refusal_of(file, "bytes long, and it has");
        file.resize(2000);
        expect_refusal_of(file, "bytes long, and it has");
    }
}

TEST_F(convert_old_failure_test, negative_numbers)
{
    for (const std::size_t field : {2U, 6U, 34U, 36U, 38U}) {
        std::vector<std::uint8_t> file = block_file(pattern_pixels(130, 70, true));
        file[field] = 0xFF;
        expect_refusal_of(file, "makes no sense");
    }
}

TEST_F(convert_old_failure_test, what_is_no_ordinary_file)
{
    std::filesystem::create_directory(path("folder"));
    expect_refusal("folder", 4, "not an ordinary file");
    ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    expect_refusal("pipe", 4, "not an ordinary file");
    write_bytes(path("old"), block_file(pattern_pixels(70, 70, true)));
    std::filesystem::create_symlink("old", path("link"));
    expect_refusal("link", 4, "symbolic link");
    expect_refusal("nothing", 3, "No such file");
}

TEST_F(convert_old_failure_test, damaged_masks_of_version_1)
{
    make_version_1("old", 300, 300);
    std::vector<std::uint8_t> file = read_bytes(path("old"));
    file.push_back(0);
    expect_refusal_of(file, "its length is not what its header says");
    file.resize(file.size() - 2);
    expect_refusal_of(file, "damaged");
}

TEST_F(convert_old_failure_test, names_that_are_taken_stay)
{
    write_bytes(path("old"), block_file(pattern_pixels(70, 70, true)));
    write_bytes(path("old.orig"), {1, 2});
    expect_refusal("old", 3, "old.orig: the file exists already");
    EXPECT_EQ(read_bytes(path("old.orig")), (std::vector<std::uint8_t>{1, 2}));
    std::filesystem::remove(path("old.orig"));

    write_bytes(path("old.converting"), {1, 2});
    expect_refusal("old", 3, "not a folder");
    std::filesystem::remove(path("old.converting"));
    std::filesystem::create_directory(path("old.converting"));
    write_bytes(path("old.converting/mine"), {1, 2});
    expect_refusal("old", 3, "not made by this command");
    EXPECT_EQ(read_bytes(path("old.converting/mine")), (std::vector<std::uint8_t>{1, 2}));
}

TEST_F(convert_old_failure_test, disk_that_is_too_small)
{
    const std::vector<std::uint8_t> original = block_file(pattern_pixels(1500, 1500, true));
    write_bytes(path("old"), original);
    // No file may become larger than so many KiB: first the copy does not fit, then the canvas.
    for (const char* const limit : {"2048", "9500"}) {
        for (const auto& mode : {process_mode(), in_line_mode()}) {
            const outcome result =
                run(strings{"/bin/bash", "-c", "ulimit -f " + std::string(limit) + "; trap '' XFSZ; exec \"$@\"",
                            "bash", tool(), "convert-old", path("old")} +
                    mode);
            EXPECT_TRUE(result.exit_code == 3 || result.exit_code == 5) << result.exit_code << " " << result.signal;
            EXPECT_NE(result.err.find("old: "), std::string::npos) << result.err;
            EXPECT_EQ(result.out, "");
            EXPECT_TRUE(read_bytes(path("old")) == original);
            EXPECT_EQ(files(), strings{"old"});
        }
    }
}

TEST_F(convert_old_failure_test, without_permission)
{
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be someone else";
    const strings nobody{"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", tool()};
    if (run(nobody + strings{"--version"}).exit_code != 0) GTEST_SKIP() << "nobody else may run the command";
    const std::vector<std::uint8_t> original = block_file(pattern_pixels(70, 70, true));
    write_bytes(path("old"), original);
    for (const mode_t mode : {mode_t{0644}, mode_t{0600}}) {  // a folder that is not writable, a file not readable
        ::chmod(path("old").c_str(), mode);
        ::chmod(folder().c_str(), mode == 0644 ? 0755 : 0777);
        const outcome result = run(nobody + strings{"convert-old", path("old")});
        EXPECT_EQ(result.exit_code, 3) << result.out;
        EXPECT_NE(result.err.find("Permission denied"), std::string::npos) << result.err;
        EXPECT_TRUE(read_bytes(path("old")) == original);
        EXPECT_EQ(files(), strings{"old"});
    }
}

TEST_F(convert_old_failure_test, interrupt_takes_everything_back)
{
    const std::vector<std::uint8_t> original = block_file(pattern_pixels(3000, 2500, true));
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        for (const auto& mode : {process_mode(), in_line_mode()}) {
            write_bytes(path("old"), original);
            const pid_t process = start(strings{tool(), "convert-old", path("old")} + mode);
            // In the middle: the new canvas is growing.
            bool is_at_work = false;
            for (int tries = 0; tries < 5000 && !is_at_work; ++tries) {
                std::this_thread::sleep_for(1ms);
                std::error_code gone;
                for (const auto& entry : std::filesystem::directory_iterator(path("old.converting"), gone)) {
                    const std::string name = entry.path().filename().string();
                    is_at_work = is_at_work || (name != "copy" && entry.file_size(gone) > 1'000'000 && !gone);
                }
            }
            EXPECT_TRUE(is_at_work);
            ::kill(process, signal);
            const outcome result = finish(process);
            EXPECT_EQ(result.signal, signal) << result.exit_code << result.err;
            EXPECT_TRUE(read_bytes(path("old")) == original);
            EXPECT_EQ(files(), strings{"old"});
        }
    }
}

}  // namespace

}  // namespace tool_tests
