// Plates: every ink of every pixel, and the alpha, each in a grey image.
#include "tests/tools/support/import_check.h"

namespace tool_tests {

namespace {

const std::vector<std::string> all_plates{"cyan.png", "magenta.png", "yellow.png", "black.png", "alpha.png"};

class separations_test : public import_test {
protected:
    void SetUp() override
    {
        write_png(path("photo.png"), make_image(701, 533, model::rgb, true));
        canvas_ = import("photo.png", process_mode());
    }

    outcome separate(const std::vector<std::string>& options)
    {
        return iocache(std::vector<std::string>{"separations", path("canvas"), path("plates")} + options);
    }

    void expect_plate(const std::string& name, const std::vector<std::uint8_t>& wanted)
    {
        SCOPED_TRACE(name);
        const image plate = read_png(path("plates/" + name));
        EXPECT_EQ(plate.colours, model::grey);
        EXPECT_FALSE(plate.alpha);
        EXPECT_EQ(plate.width, canvas_.width);
        EXPECT_EQ(plate.height, canvas_.height);
        EXPECT_EQ(first_difference(plate.bytes(), wanted), "");
    }

    void expect_all_plates()
    {
        for (std::size_t ink = 0; ink < 4; ++ink) {
            std::vector<std::uint8_t> wanted;
            for (std::size_t i = ink; i < canvas_.colour.size(); i += 4) {
                wanted.push_back(static_cast<std::uint8_t>(255 - canvas_.colour[i]));
            }
            expect_plate(all_plates[ink], wanted);
        }
        expect_plate("alpha.png", canvas_.alpha);
    }

    [[nodiscard]] std::vector<std::string> plates() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path("plates"))) {
            names.push_back(entry.path().filename().string());
        }
        std::ranges::sort(names);
        return names;
    }

    canvas_pixels canvas_;
};

TEST_F(separations_test, every_ink_and_the_alpha_become_a_plate)
{
    for (const auto& mode : {process_mode(), in_line_mode()}) {
        const outcome result = separate(mode + std::vector<std::string>{"--force"});
        EXPECT_EQ(result.exit_code, 0) << result.err;
        EXPECT_EQ(result.err, "");
        expect_all_plates();
        EXPECT_EQ(plates().size(), all_plates.size());
    }
}

TEST_F(separations_test, a_mask_gives_its_own_bytes)
{
    canvas_ = import("photo.png", {"--mask"});
    EXPECT_EQ(separate({}).exit_code, 0);
    expect_plate("mask.png", canvas_.colour);
    EXPECT_EQ(plates(), (std::vector<std::string>{"mask.png"}));
}

TEST_F(separations_test, existing_files_stay_unless_force_is_given)
{
    std::filesystem::create_directory(path("plates"));
    write_bytes(path("plates/yellow.png"), {1, 2, 3});
    const outcome refused = separate({});
    EXPECT_EQ(refused.exit_code, 3);
    EXPECT_NE(refused.err.find("yellow.png: the file exists already"), std::string::npos) << refused.err;
    EXPECT_EQ(plates(), (std::vector<std::string>{"yellow.png"}));
    EXPECT_EQ(separate({"--force"}).exit_code, 0);
    expect_all_plates();
}

TEST_F(separations_test, a_canvas_is_never_replaced_by_its_own_plate)
{
    std::filesystem::create_directory(path("plates"));
    std::filesystem::rename(path("canvas"), path("plates/black.png"));
    const std::vector<std::uint8_t> before = read_bytes(path("plates/black.png"));
    EXPECT_NE(iocache({"separations", path("plates/black.png"), path("plates"), "--force"}).exit_code, 0);
    EXPECT_TRUE(read_bytes(path("plates/black.png")) == before);
    EXPECT_EQ(plates(), (std::vector<std::string>{"black.png"}));
}

TEST_F(separations_test, failures_leave_nothing_behind)
{
    const std::vector<std::string> before = files();
    EXPECT_EQ(iocache({"separations", path("canvas")}).exit_code, 2);
    EXPECT_EQ(iocache({"separations", path("nothing"), path("plates")}).exit_code, 3);
    EXPECT_EQ(iocache({"separations", path("photo.png"), path("plates")}).exit_code, 4);
    EXPECT_EQ(iocache({"separations", path("canvas"), path("no/such/folder")}).exit_code, 3);
    EXPECT_EQ(iocache({"separations", path("canvas"), path("photo.png")}).exit_code, 3);
    EXPECT_EQ(files(), before);
}

}  // namespace

}  // namespace tool_tests
