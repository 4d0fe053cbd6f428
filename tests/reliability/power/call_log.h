// What a recorded process did to files, taken apart into the steps that a file system may keep or lose by itself, and
// the disk that is left when some of them are lost.
//
// A step is a change of names, a change of a file's length, or the bytes of one write; a write behind a file's end is
// two of them. A step is sure once its file, or for names the folder, was synchronised after it; until then it may be
// lost whatever becomes of the others, and of bytes any sectors may be lost.
#ifndef IOCACHE_TESTS_RELIABILITY_CALL_LOG_H
#define IOCACHE_TESTS_RELIABILITY_CALL_LOG_H

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/reliability/power/call_recorder.h"
#include "tests/support/file_reader.h"

namespace iocache_test {

// Files and their names.
struct disk {
    std::map<std::string, size_t> names;
    std::set<std::string> folders;
    std::vector<bytes> files;  // what was written, also behind a file's end as long as the end may still move
    std::vector<size_t> lengths;

    void add_file(bytes content)
    {
        lengths.push_back(content.size());
        files.push_back(std::move(content));
    }
    // What lies behind an end is lost.
    void settle()
    {
        for (size_t i = 0; i < files.size(); ++i) files[i].resize(lengths[i]);
    }
    // Null when there is no such file.
    const bytes* find(const std::string& path) const
    {
        const auto found = names.find(path);
        return found == names.end() ? nullptr : &files[found->second];
    }
};

struct recorded_call {
    recorder::action what = recorder::action::create;
    std::string path;
    std::string to;
    size_t file = 0;
    size_t other_file = 0;  // of an exchange
    size_t offset = 0;
    bytes data;
};

inline constexpr size_t never = std::numeric_limits<size_t>::max();

struct step {
    enum class sort { name, length, data };
    size_t call = 0;
    sort what = sort::name;
    size_t sure_from = never;  // the call that makes it sure
};

// Which bytes of a step are kept; `sector` counts from the beginning of the file.
using sector_filter = std::function<bool(size_t sector)>;
inline constexpr size_t sector_bytes = 512;

class call_log {
public:
    // The files of these folders as they are before the process is recorded.
    void note_files(const std::vector<std::string>& folders);
    // What it did.
    void read(const std::string& log);

    const std::vector<recorded_call>& calls() const { return calls_; }
    const std::vector<step>& steps() const { return steps_; }
    // Steps of the calls before this one that are not sure yet when it comes.
    std::vector<size_t> unsure_at(size_t call) const;
    // The calls before which something becomes sure, and the end: what may be lost elsewhere may be lost there.
    std::vector<size_t> borders() const;
    // Everything that is sure before this call. To be settled when no step follows.
    disk sure_at(size_t call) const;
    void apply(disk& on, size_t number, const sector_filter& keeps = nullptr) const;
    const disk& before() const { return before_; }
    // Nothing lost; settled.
    disk whole_at(size_t call) const;

private:
    disk before_;
    std::map<std::pair<uint64_t, uint64_t>, size_t> known_files_;  // by device and number
    std::vector<recorded_call> calls_;
    std::vector<step> steps_;

    void take(const recorder::entry& one, recorded_call call, disk& now);
    bool find_files(const recorder::entry& one, recorded_call& call, disk& now);
    void settle();
};

}  // namespace iocache_test

#endif
