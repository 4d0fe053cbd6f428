// What commands say about one file after the other, as text or as a JSON array with an object for each. A file that
// cannot be read is told of and does not hide the others.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "tools/failure.h"

namespace iocache::tools {

using json = nlohmann::ordered_json;

// The value as text. Names and texts of files need not be UTF-8; what is not is replaced.
[[nodiscard]] std::string text_of(const json& value);

// Does the work on the file; whatever goes wrong with it becomes a failure. An interrupt goes on to the caller.
[[nodiscard]] std::optional<failure> attempt(const std::string& path, const std::function<void()>& work);

// Adds to an object why there is nothing else in it.
void describe_failure(json& object, const failure& problem);

class file_reports {
public:
    explicit file_reports(bool as_json) : as_json_(as_json) {}

    // Does the work for one file, which fills its object and says how it ended.
    void add(const std::string& path, const std::function<exit_code(json& report)>& work);
    // Prints the array, if one is wanted, and returns the worst of the exit codes.
    [[nodiscard]] exit_code finish() const;

private:
    bool as_json_;
    json all_ = json::array();
    exit_code worst_ = exit_code::done;
};

}  // namespace iocache::tools
