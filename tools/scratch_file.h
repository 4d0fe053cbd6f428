// Bytes that live in a nameless file instead of in memory, for images that can only be decoded as a
// whole: interlaced PNG, progressive JPEG. The file's room is reserved when it is made, so that a full
// disk is found out then; it vanishes with the object, however the process ends.
//
// The bytes are mapped: they can be used as memory. forget_pages() hands the memory behind them back to
// the system without losing what they hold; whoever walks through them calls it every few MiB.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "tools/file.h"

namespace iocache::tools {

class scratch_file {
public:
    // Reserves `bytes` zeroed bytes on the disk that holds `folder`; throws `failure` when they do not fit.
    scratch_file(const std::string& folder, std::size_t bytes);
    scratch_file(const scratch_file&) = delete;
    scratch_file& operator=(const scratch_file&) = delete;
    ~scratch_file();

    [[nodiscard]] std::span<std::uint8_t> bytes() { return {address_, size_}; }

    void forget_pages();
    // The same once `step` more bytes have been walked through.
    void walked(std::size_t step);

private:
    file_descriptor file_;
    std::uint8_t* address_ = nullptr;
    std::size_t size_ = 0;
    std::size_t walked_since_ = 0;
};

}  // namespace iocache::tools
