// What is no regular file is refused at once, whoever is at its other end.
#include <sys/stat.h>

#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

class special_file_test : public import_test {
protected:
    void SetUp() override
    {
        write_png(path("photo.png"), make_image(301, 277, model::rgb));
        import("photo.png", process_mode());
        ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
    }

    // A command that waits is ended, with an exit code of its own.
    void expect_refusal(const std::vector<std::string>& arguments)
    {
        SCOPED_TRACE(arguments.front());
        const std::vector<std::string> before = files();
        const outcome result =
            run(std::vector<std::string>{"/usr/bin/timeout", "--signal=KILL", "20", tool()} + arguments);
        EXPECT_EQ(result.exit_code, 3) << result.signal;
        EXPECT_NE(result.err.find("not a regular file"), std::string::npos) << result.err;
        EXPECT_EQ(files(), before);
    }
};

TEST_F(special_file_test, no_command_waits_for_a_pipe)
{
    const std::string pipe = path("pipe");
    expect_refusal({"info", pipe});
    expect_refusal({"verify", pipe});
    expect_refusal({"diff", pipe, path("canvas")});
    expect_refusal({"diff", path("canvas"), pipe});
    expect_refusal({"import", pipe, path("new")});
    expect_refusal({"export", pipe, path("new.png")});
    expect_refusal({"preview", pipe, path("new.png")});
    expect_refusal({"separations", pipe, path("new")});
    expect_refusal({"compare", pipe, path("photo.png")});
    expect_refusal({"compare", path("canvas"), pipe});
    expect_refusal({"refresh", pipe});
    expect_refusal({"repair", pipe});
    expect_refusal({"compact", pipe});
    expect_refusal({"import", path("photo.png"), path("new"), "--profile", pipe});
}

TEST_F(special_file_test, an_image_cannot_come_from_standard_input)
{
    const outcome result = run({"/bin/sh", "-c", "cat \"$1\" | timeout -s KILL 20 \"$2\" import /dev/stdin \"$3\"",
                                "sh", path("photo.png"), tool(), path("new")});
    EXPECT_EQ(result.exit_code, 3) << result.err;
    EXPECT_NE(result.err.find("not a regular file: pipes and devices are not supported"), std::string::npos)
        << result.err;
    EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.png", "pipe"}));
}

TEST_F(special_file_test, a_profile_without_an_end_is_not_read)
{
    if (under_sanitizer()) GTEST_SKIP() << "sanitizers reserve more than the limit";
    const outcome result = run({"/bin/bash", "-c", "ulimit -v 4000000; exec timeout -s KILL 20 \"$@\"", "bash", tool(),
                                "import", path("photo.png"), path("new"), "--profile", "/dev/zero"});
    EXPECT_EQ(result.exit_code, 3) << result.err;
    EXPECT_NE(result.err.find("/dev/zero: not a regular file"), std::string::npos) << result.err;
}

TEST_F(special_file_test, a_profile_larger_than_any_is_none)
{
    std::filesystem::copy_file(cmyk_profile(), path("large.icc"));
    std::filesystem::resize_file(path("large.icc"), (std::uintmax_t{64} << 20) + 1);
    const outcome result = iocache({"import", path("photo.png"), path("new"), "--profile", path("large.icc")});
    EXPECT_EQ(result.exit_code, 4) << result.err;
    EXPECT_NE(result.err.find("not a colour profile"), std::string::npos) << result.err;
}

}  // namespace

}  // namespace tool_tests
