// Where libjpeg keeps the coefficients of a JPEG that comes in several scans: all of them are needed
// until the last scan has been read, several bytes a pixel. Its own memory manager keeps them in
// memory; this one puts them into a scratch file.
//
// It replaces the three methods of the decoder's memory manager that deal with coefficient arrays and
// leaves the others alone. Install it between jpeg_create_decompress and jpeg_start_decompress.
#pragma once

#include <cstdint>
#include <cstdio>
#include <exception>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "tools/scratch_file.h"

namespace iocache::tools {

class jpeg_coefficients {
public:
    // The decoder's client_data then belongs to this object.
    void install(jpeg_decompress_struct& decoder, std::string scratch_folder);

    // Whatever kept a method from doing its work (no room on the disk); libjpeg itself only learns that it failed.
    void rethrow() const;

private:
    struct array {
        std::size_t first_block = 0;  // in the scratch file
        JDIMENSION blocks_per_row = 0;
        JDIMENSION rows = 0;
        std::vector<JBLOCKROW> row_starts;
    };

    std::string folder_;
    std::list<array> arrays_;  // libjpeg holds pointers to the elements
    std::size_t blocks_ = 0;
    std::unique_ptr<scratch_file> file_;
    std::exception_ptr problem_;
    void (*realize_others_)(j_common_ptr) = nullptr;

    static jpeg_coefficients& of(j_common_ptr decoder);
    static jvirt_barray_ptr request(j_common_ptr decoder, int pool, boolean zeroed, JDIMENSION blocks_per_row,
                                    JDIMENSION rows, JDIMENSION most_at_once);
    static void realize(j_common_ptr decoder);
    static JBLOCKARRAY access(j_common_ptr decoder, jvirt_barray_ptr which, JDIMENSION first, JDIMENSION rows,
                              boolean write);
    // Runs `work` and keeps what it throws; false then.
    template <class Work> bool attempt(const Work& work);
    void place_arrays();
};

}  // namespace iocache::tools
