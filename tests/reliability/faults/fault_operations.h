// What is done while calls fail, and to which files.
#ifndef IOCACHE_TESTS_RELIABILITY_FAULT_OPERATIONS_H
#define IOCACHE_TESTS_RELIABILITY_FAULT_OPERATIONS_H

#include <functional>
#include <string>
#include <vector>

#include <iocache/iocache.h>

#include "tests/support/file_reader.h"

namespace iocache_test {

inline constexpr int32_t fault_frame = 128;  // so that small canvases have a reduced image
inline constexpr int32_t fault_width = 600;
inline constexpr int32_t fault_height = 300;
// Operations draw on one line, on one column, and on tiles that were never written, right of and below here.
inline constexpr int32_t new_from_x = 256;
inline constexpr int32_t new_from_y = 256;

// What a child needs to try one operation.
struct fault_trial {
    std::string path;
    std::string elsewhere;  // a name on another file system
    bool is_picture = true;
    int32_t canvas = -1;
    bytes line = bytes(size_t{fault_width} * 5, 0x33);
    bytes alpha = bytes(fault_width, 0x44);

    void draw_line() const;
    // Two tiles that have no slot yet; then others, so that these leave memory.
    void draw_new_tiles() const;
    void open() { canvas = canvas_old(path.c_str()); }
    void make_current() const;
};

struct fault_operation {
    const char* name;
    const char* subject;                       // the file; empty: none before
    bool begins_open;                          // the canvas is open when the faults begin
    std::function<void(fault_trial&)> before;  // without faults
    std::function<void(fault_trial&)> act;
};

const std::vector<fault_operation>& fault_operations();

// Every line of an open canvas: colour, then alpha. Empty when one cannot be read.
bytes pixels_of(int32_t number, bool is_picture);
// Whether an operation may have changed this byte of them.
bool is_drawn_on(size_t place, bool is_picture);

}  // namespace iocache_test

#endif
