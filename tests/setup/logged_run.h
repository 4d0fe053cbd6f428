// A run of the library with its log on, in a folder of its own.
#ifndef IOCACHE_TESTS_SETUP_LOGGED_RUN_H
#define IOCACHE_TESTS_SETUP_LOGGED_RUN_H

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <time.h>

#include "tests/support/file_reader.h"
#include "tests/support/library.h"

namespace iocache_test {

enum class output { none, screen, file, both };

// What a call writes to standard output.
template <class Action> std::string printed_by(Action action)
{
    ::testing::internal::CaptureStdout();
    action();
    return ::testing::internal::GetCapturedStdout();
}

inline std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// The moment that a text like "Thu Jan  1 00:00:00 1970" names; -1 when it names none.
inline std::time_t time_in(const std::string& text)
{
    std::tm parts = {};
    parts.tm_isdst = -1;
    const char* const end = strptime(text.c_str(), "%a %b %d %H:%M:%S %Y", &parts);
    return end != nullptr && *end == '\0' ? std::mktime(&parts) : -1;
}

// The library runs from start_logging to the end of the test.
class logged_test : public library_test {
protected:
    logged_test() { std::filesystem::create_directory(log_folder()); }
    ~logged_test() override { stop_logging(); }

    std::string log_folder() const { return path("logs"); }

    // Answers what the start wrote to standard output.
    std::string start_logging(output wanted)
    {
        prepare(GetParam());
        setenv("TQ_IMG0", log_folder().c_str(), 1);
        if (wanted == output::screen || wanted == output::both) setenv("TQ_CRE_LOGS", "", 1);
        if (wanted == output::file || wanted == output::both) setenv("TQ_CRE_LOG", "", 1);
        return start_as_it_is();
    }
    // With the environment as the test has made it.
    std::string start_as_it_is()
    {
        running_ = true;
        return printed_by([] { cv_master_init(); });
    }
    // Answers what the end wrote to standard output.
    std::string stop_logging()
    {
        if (!running_) return "";
        running_ = false;
        return printed_by([] { cv_master_exit(); });
    }

    std::vector<std::string> log_files() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(log_folder()))
            names.push_back(entry.path().filename().string());
        return names;
    }
    // What the only log file holds.
    std::string log_text() const
    {
        const std::vector<std::string> names = log_files();
        if (names.size() != 1) return "not one log file but " + std::to_string(names.size());
        const bytes text = read_whole_file(log_folder() + "/" + names[0]);
        return {text.begin(), text.end()};
    }

private:
    bool running_ = false;
};

}  // namespace iocache_test

#endif
