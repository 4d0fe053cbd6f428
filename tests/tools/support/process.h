// Runs the iocache command the way a shell does, in a folder of its own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sys/types.h>

namespace tool_tests {

struct outcome {
    int exit_code = -1;  // -1 when a signal ended it
    int signal = 0;
    std::string out;
    std::string err;
    std::int64_t peak_bytes = 0;  // largest resident set
};

// A test with an empty folder that goes away with it.
class tool_test : public ::testing::Test {
protected:
    tool_test();
    ~tool_test() override;

    [[nodiscard]] std::string path(const std::string& name) const { return (folder_ / name).string(); }
    [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }
    // Names of everything in the folder but the files that catch the command's output.
    [[nodiscard]] std::vector<std::string> files() const;

    // Runs `iocache ARGUMENTS...` to its end.
    outcome iocache(const std::vector<std::string>& arguments);
    // Runs any program to its end.
    outcome run(const std::vector<std::string>& command);
    // Starts it and does not wait; finish() does.
    pid_t start(const std::vector<std::string>& command);
    outcome finish(pid_t process);

private:
    std::filesystem::path folder_;
};

// The program under test.
[[nodiscard]] std::string tool();

// Arguments that make every request go through the cache process, or none.
[[nodiscard]] std::vector<std::string> process_mode();
[[nodiscard]] std::vector<std::string> in_line_mode();

[[nodiscard]] std::vector<std::string> operator+(std::vector<std::string> one, const std::vector<std::string>& other);

// Sanitizers multiply memory and time.
[[nodiscard]] bool under_sanitizer();

}  // namespace tool_tests
