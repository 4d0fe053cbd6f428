// libpng's way of reporting failures, for reading and writing.
#pragma once

#include <string>

#include <png.h>

#include "tools/failure.h"
#include "tools/images/jump_guard.h"

namespace iocache::tools {

class png_failure {
public:
    // Runs a piece of libpng; throws `failure` when it fails.
    template <class Call> void guard(const std::string& path, const Call& call)
    {
        if (!returns_normally(jump_, call)) throw failure(exit_code::not_readable, path + ": " + text_);
    }

    // To be given to png_create_..._struct with this object as the error pointer.
    [[noreturn]] static void leave(png_structp png, png_const_charp text);
    static void ignore(png_structp /*png*/, png_const_charp /*text*/) {}

private:
    static constexpr std::size_t longest_text = 200;
    std::jmp_buf jump_{};
    char text_[longest_text] = {};
};

}  // namespace iocache::tools
