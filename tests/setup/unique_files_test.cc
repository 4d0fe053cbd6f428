// Arena and log file are made for this run alone: nobody can plant a file or a link in their place.
#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "tests/setup/process_facts.h"
#include "tests/setup/seen_opens.h"
#include "tests/support/file_reader.h"
#include "tests/support/library.h"

using namespace iocache_test;

namespace {

struct opened {
    std::string path;
    int flags;
};

class unique_files : public library_test {
protected:
    ~unique_files() override
    {
        on_open = nullptr;
        for (const opened& each : planted_) unlink(each.path.c_str());
    }

    // Somebody is faster than the library, once, with a link from the name it is about to take to this file.
    void plant_link(const std::string& beginning, const std::string& target)
    {
        on_open = [this, beginning, target](const std::string& path, int flags) {
            if (!path.starts_with(beginning)) return 0;
            if (planted_.empty()) {
                EXPECT_EQ(symlink(target.c_str(), path.c_str()), 0);
                planted_.push_back({path, flags});
            } else {
                made_.push_back({path, flags});
            }
            return 0;
        };
    }
    // The planted name was tried exclusively, and another one taken.
    void expect_avoided(const std::string& target)
    {
        ASSERT_EQ(planted_.size(), 1U);
        ASSERT_FALSE(made_.empty());
        EXPECT_NE(planted_[0].path, made_[0].path);
        constexpr int wanted = O_CREAT | O_EXCL | O_CLOEXEC;
        EXPECT_EQ(planted_[0].flags & wanted, wanted);
        EXPECT_EQ(read_whole_file(target), (bytes{'m', 'i', 'n', 'e'}));
    }

    std::vector<opened> planted_;
    std::vector<opened> made_;
};

INSTANTIATE_TEST_SUITE_P(, unique_files, both_modes(), mode_name);

TEST_P(unique_files, arena_is_not_made_through_a_link)
{
    const std::string target = path("target");
    write_whole_file(target, {'m', 'i', 'n', 'e'});
    plant_link("/tmp/sematile", target);
    start();
    expect_avoided(target);
    EXPECT_EQ(made_.at(0).path, cv_tile_sema_file);
    EXPECT_TRUE(host().messages().empty());
    stop();
    EXPECT_FALSE(exists(made_[0].path));
    EXPECT_TRUE(exists(planted_[0].path));
}

TEST_P(unique_files, arena_is_not_made_through_a_link_to_nowhere)
{
    plant_link("/tmp/sematile", path("nowhere"));
    start();
    EXPECT_NE(planted_.at(0).path, cv_tile_sema_file);
    EXPECT_FALSE(exists(path("nowhere")));
}

TEST_P(unique_files, log_is_not_made_through_a_link)
{
    const std::string target = path("target");
    write_whole_file(target, {'m', 'i', 'n', 'e'});
    prepare(GetParam());
    setenv("TQ_CRE_LOG", "1", 1);
    setenv("TQ_IMG0", path("").c_str(), 1);
    plant_link(path("") + "/LOG.", target);
    cv_master_init();
    EXPECT_EQ(tq_log, 1);
    expect_avoided(target);
    cv_master_exit();
}

TEST_P(unique_files, arena_that_cannot_be_opened_tells_why)
{
    const other_file_mask mask(file_mask());
    prepare(GetParam());
    int attempts = 0;
    on_open = [&attempts](const std::string& path, int /*flags*/) {
        if (!path.starts_with("/tmp/sematile")) return 0;
        ++attempts;
        return EACCES;
    };
    cv_master_init();
    EXPECT_EQ(cv_errno, 999001);
    EXPECT_EQ(host().messages(), std::vector<std::string>{std::string("Init tile access : cannot open ") +
                                                          cv_tile_sema_file + " ( " + std::to_string(EACCES) + " )\n"});
    EXPECT_EQ(host().kills(), 1);
    EXPECT_EQ(attempts, 1);  // another name would not help
    cv_master_exit();
}

TEST_P(unique_files, arena_without_any_free_name_is_given_up)
{
    const other_file_mask mask(file_mask());
    prepare(GetParam());
    on_open = [](const std::string& path, int /*flags*/) { return path.starts_with("/tmp/sematile") ? EEXIST : 0; };
    cv_master_init();
    EXPECT_EQ(cv_errno, 999001);
    EXPECT_EQ(host().kills(), 1);
    cv_master_exit();
}

}  // namespace
