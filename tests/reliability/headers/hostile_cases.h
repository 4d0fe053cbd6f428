// The lies: every value of every byte of a header, and every pair of its numbers at the edges of their types.
#ifndef IOCACHE_TESTS_RELIABILITY_HOSTILE_CASES_H
#define IOCACHE_TESTS_RELIABILITY_HOSTILE_CASES_H

#include <string>
#include <vector>

#include "iocache/canvas/file_layout.h"
#include "tests/support/file_reader.h"

namespace iocache_test {

// A change of the header.
struct change {
    size_t place;
    bytes value;
};
using variant = std::vector<change>;

// A byte or a pair, and its variants.
struct hostile_case {
    bool is_pair;
    size_t first;  // byte, or field
    size_t second;
};

// The numbers that are read.
std::vector<iocache::canvas::file_field> fields_that_matter();
std::vector<hostile_case> all_cases(size_t fields);
std::string name_of(const hostile_case& one, const std::vector<iocache::canvas::file_field>& fields);
// Without the file's own value of a byte.
std::vector<variant> variants_of(const hostile_case& one, const std::vector<iocache::canvas::file_field>& fields,
                                 const bytes& header);

}  // namespace iocache_test

#endif
