// Coefficient arrays in a scratch file. The methods are called by libjpeg, which is C: nothing may be
// thrown out of them, and libjpeg's own error exit is taken only when no object with a destructor is alive.
#include "tools/images/jpeg_coefficients.h"

#include <jerror.h>

namespace iocache::tools {

void jpeg_coefficients::install(jpeg_decompress_struct& decoder, std::string scratch_folder)
{
    folder_ = std::move(scratch_folder);
    realize_others_ = decoder.mem->realize_virt_arrays;
    decoder.client_data = this;
    decoder.mem->request_virt_barray = request;
    decoder.mem->realize_virt_arrays = realize;
    decoder.mem->access_virt_barray = access;
}

void jpeg_coefficients::rethrow() const
{
    if (problem_) std::rethrow_exception(problem_);
}

jpeg_coefficients& jpeg_coefficients::of(j_common_ptr decoder)
{
    return *static_cast<jpeg_coefficients*>(decoder->client_data);
}

template <class Work> bool jpeg_coefficients::attempt(const Work& work)
{
    try {
        work();
        return true;
    } catch (...) {
        problem_ = std::current_exception();
        return false;
    }
}

jvirt_barray_ptr jpeg_coefficients::request(j_common_ptr decoder, int /*pool*/, boolean /*zeroed: a new file is*/,
                                            JDIMENSION blocks_per_row, JDIMENSION rows, JDIMENSION /*most_at_once*/)
{
    jpeg_coefficients& self = of(decoder);
    const bool made = self.attempt([&] {
        self.arrays_.push_back({self.blocks_, blocks_per_row, rows, {}});
        self.blocks_ += std::size_t{blocks_per_row} * rows;
    });
    if (!made) ERREXIT1(decoder, JERR_OUT_OF_MEMORY, 0);
    // The type is libjpeg's promise not to look inside.
    return reinterpret_cast<jvirt_barray_ptr>(&self.arrays_.back());
}

void jpeg_coefficients::place_arrays()
{
    file_ = std::make_unique<scratch_file>(folder_, blocks_ * sizeof(JBLOCK));
    auto* const blocks = reinterpret_cast<JBLOCK*>(file_->bytes().data());
    for (array& one : arrays_) {
        one.row_starts.resize(one.rows);
        for (JDIMENSION row = 0; row < one.rows; ++row) {
            one.row_starts[row] = blocks + one.first_block + std::size_t{one.blocks_per_row} * row;
        }
    }
}

void jpeg_coefficients::realize(j_common_ptr decoder)
{
    jpeg_coefficients& self = of(decoder);
    const bool wanted = !self.arrays_.empty() && !self.file_;
    if (wanted && !self.attempt([&] { self.place_arrays(); })) ERREXIT(decoder, JERR_TFILE_CREATE);
    self.realize_others_(decoder);
}

JBLOCKARRAY jpeg_coefficients::access(j_common_ptr decoder, jvirt_barray_ptr which, JDIMENSION first, JDIMENSION rows,
                                      boolean /*write*/)
{
    jpeg_coefficients& self = of(decoder);
    auto* const asked = reinterpret_cast<array*>(which);
    if (first > asked->rows || rows > asked->rows - first) ERREXIT(decoder, JERR_BAD_VIRTUAL_ACCESS);
    self.file_->walked(std::size_t{asked->blocks_per_row} * rows * sizeof(JBLOCK));
    return asked->row_starts.data() + first;
}

}  // namespace iocache::tools
