// Writes down what a process does to files: every call that changes one, or brings one to the disk, in the order in
// which they take effect, with the bytes that were written. The program that these lines are part of has functions that
// stand in the way of the system's, for the library and for itself.
//
// Nothing is written down unless start() was called. The log outlives the process.
#ifndef IOCACHE_TESTS_RELIABILITY_CALL_RECORDER_H
#define IOCACHE_TESTS_RELIABILITY_CALL_RECORDER_H

#include <cstdint>
#include <string>

namespace iocache_test::recorder {

enum class action : uint32_t {
    create,       // path, file
    folder,       // path: made
    write,        // file, offset, data
    length,       // file, offset: the new length
    rename,       // path, to
    exchange,     // path, to
    link,         // path, to
    remove,       // path: a file or a folder
    sync_file,    // file
    sync_folder,  // path
    closed,       // path: a canvas was closed; what is in it must outlive a power cut from here on
};

// One call as the log holds it; the two names and the data follow.
struct entry {
    action what = action::create;
    uint32_t path_bytes = 0;
    uint32_t to_bytes = 0;
    uint32_t data_bytes = 0;
    uint64_t device = 0;
    uint64_t file = 0;
    int64_t offset = 0;
};

// From now on this process's calls are appended to a new file of this name.
void start(const std::string& log);
void stop();
// Notes that a canvas was closed, its tiles synchronised.
void note_close(const std::string& path);

}  // namespace iocache_test::recorder

#endif
