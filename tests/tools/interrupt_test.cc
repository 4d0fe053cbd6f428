// Ctrl-C takes back what is half made.
#include <csignal>
#include <thread>

#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

using namespace std::chrono_literals;

class interrupt_test : public import_test {
protected:
    // Starts the command, waits until `appears` holds data, and sends the signal.
    outcome interrupt(const std::vector<std::string>& arguments, const std::string& appears, int signal)
    {
        const pid_t process = start(std::vector<std::string>{tool()} + arguments);
        for (int tries = 0; tries < 5000; ++tries) {
            for (const std::string& name : files()) {
                std::error_code gone;
                if (name.starts_with(appears) && std::filesystem::file_size(path(name), gone) > 0 && !gone)
                    tries = 5000;
            }
            std::this_thread::sleep_for(1ms);
        }
        ::kill(process, signal);
        return finish(process);
    }

    // Large enough to be at work for a while, small as a file.
    void write_large_image(const std::string& name)
    {
        image source{9000, 2500, model::rgb, false, 8, {}};
        source.samples.resize(source.pixels() * 3);
        for (std::size_t i = 0; i < source.samples.size(); ++i) {
            source.samples[i] = static_cast<std::uint16_t>((i / 27000 + i % 27000 / 90) % 256);
        }
        tiff_options options;
        options.compression = COMPRESSION_LZW;
        write_tiff(path(name), source, options);
    }
};

TEST_F(interrupt_test, an_import_is_taken_back)
{
    write_large_image("photo.tif");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGXCPU}) {
        for (const auto& mode : {process_mode(), in_line_mode()}) {
            const outcome result = interrupt(
                std::vector<std::string>{"import", path("photo.tif"), path("canvas")} + mode, "canvas", signal);
            EXPECT_EQ(result.signal, signal) << result.exit_code << result.err;
            EXPECT_EQ(files(), std::vector<std::string>{"photo.tif"});
        }
    }
}

// Killed, it takes nothing back: but what is left has another name, so that nobody takes it for the picture.
TEST_F(interrupt_test, an_import_that_is_killed_leaves_no_canvas_of_that_name)
{
    write_large_image("photo.tif");
    const outcome result = interrupt({"import", path("photo.tif"), path("canvas")}, "canvas", SIGKILL);
    EXPECT_EQ(result.signal, SIGKILL);
    EXPECT_FALSE(std::filesystem::exists(path("canvas")));
}

TEST_F(interrupt_test, a_replacement_is_taken_back_and_the_old_canvas_stays)
{
    write_large_image("photo.tif");
    write_bytes(path("canvas"), {1, 2, 3});
    const outcome result =
        interrupt({"import", path("photo.tif"), path("canvas"), "--force"}, "canvas.partial", SIGINT);
    EXPECT_EQ(result.signal, SIGINT);
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.tif"}));
    EXPECT_EQ(read_bytes(path("canvas")), (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST_F(interrupt_test, an_export_is_taken_back_and_the_canvas_stays)
{
    write_large_image("photo.tif");
    import("photo.tif", process_mode());
    const std::vector<std::uint8_t> before = read_bytes(path("canvas"));
    const std::vector<std::pair<std::string, std::vector<std::string>>> images{{"out.png", {}},
                                                                               {"out.tif", {"--compress", "deflate"}}};
    for (const auto& [name, options] : images) {
        const outcome result =
            interrupt(std::vector<std::string>{"export", path("canvas"), path(name)} + options, name, SIGINT);
        EXPECT_EQ(result.signal, SIGINT) << result.exit_code << result.err;
        EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.tif"}));
        EXPECT_TRUE(read_bytes(path("canvas")) == before);
    }
}

}  // namespace

}  // namespace tool_tests
