// What another program has open is not replaced, and not opened where opening changes it.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "tests/tools/support/damaged_canvas.h"
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

namespace field = header_field;

// A file's lock, as a program holds it that has the canvas open.
class other_program {
public:
    explicit other_program(const std::string& path) : file_(::open(path.c_str(), O_RDWR | O_CLOEXEC))
    {
        EXPECT_EQ(::flock(file_, LOCK_EX | LOCK_NB), 0);
    }
    ~other_program() { ::close(file_); }
    other_program(const other_program&) = delete;
    other_program& operator=(const other_program&) = delete;

private:
    int file_;
};

class in_use_test : public import_test {
protected:
    void SetUp() override
    {
        write_png(path("photo.png"), make_image(700, 577, model::rgb, true));
        import("photo.png", {});
    }
    void break_canvas(std::size_t at, std::int32_t value)
    {
        damaged_canvas canvas(path("canvas"));
        canvas.put32(at, value);
        write_bytes(path("canvas"), canvas.bytes);
    }
    void expect_left_alone(const std::vector<std::string>& arguments)
    {
        const std::vector<std::uint8_t> before = read_bytes(path("canvas"));
        const other_program there(path("canvas"));
        const outcome result = iocache(arguments);
        EXPECT_EQ(result.exit_code, 3) << arguments.front() << result.out;
        EXPECT_NE(result.err.find("another program has it open"), std::string::npos) << result.err;
        EXPECT_TRUE(read_bytes(path("canvas")) == before);
        EXPECT_EQ(files(), (std::vector<std::string>{"canvas", "photo.png"}));
    }
};

TEST_F(in_use_test, canvas_is_not_replaced)
{
    expect_left_alone({"import", path("photo.png"), path("canvas"), "--force"});
    break_canvas(field::width, 1);
    expect_left_alone({"repair", path("canvas")});
}

TEST_F(in_use_test, canvas_is_not_compacted)
{
    damaged_canvas canvas(path("canvas"));
    const std::int32_t first = canvas.entry(0);
    canvas.put_entry(0, canvas.entry(1)).put_entry(1, first);
    write_bytes(path("canvas"), canvas.bytes);
    expect_left_alone({"compact", path("canvas")});
}

TEST_F(in_use_test, changed_canvas_is_not_opened)
{
    break_canvas(field::dirty, 1);
    expect_left_alone({"export", path("canvas"), path("out.png")});
    expect_left_alone({"preview", path("canvas"), path("out.png")});
    expect_left_alone({"compare", path("canvas"), path("photo.png")});
    expect_left_alone({"refresh", path("canvas")});
}

TEST_F(in_use_test, unchanged_canvas_is_read)
{
    const other_program there(path("canvas"));
    EXPECT_EQ(iocache({"compare", path("canvas"), path("photo.png")}).exit_code, 0);
}

TEST_F(in_use_test, canvas_that_was_not_closed_is_opened_and_that_is_told)
{
    break_canvas(field::dirty, 1);
    const outcome result = iocache({"compare", path("canvas"), path("photo.png")});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.err,
              "iocache: " + path("canvas") + ": it was not closed; its reduced image and icon are made again\n");
}

}  // namespace

}  // namespace tool_tests
