// libjpeg's error manager with a way out and a memory for what went wrong.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

#include <jpeglib.h>

#include "tools/failure.h"
#include "tools/images/jump_guard.h"

namespace iocache::tools {

class jpeg_failure {
public:
    // The decoder's `err`; it must not outlive this object.
    jpeg_error_mgr* install();

    // Runs a piece of libjpeg; throws `failure` when it fails or finds that data are missing.
    template <class Call> void guard(const std::string& path, const Call& call)
    {
        const bool returned = returns_normally(manager_.jump, call);
        if (!returned || manager_.damaged) throw made(path);
    }

private:
    // libjpeg knows the first member; the callbacks find the others behind it.
    struct manager {
        jpeg_error_mgr base;
        std::jmp_buf jump;
        char text[JMSG_LENGTH_MAX];
        int code;
        bool damaged;  // libjpeg would go on with grey in place of what is missing
    };
    manager manager_{};

    static void leave(j_common_ptr decoder);
    static void warn(j_common_ptr decoder, int level);
    [[nodiscard]] failure made(const std::string& path) const;
};

}  // namespace iocache::tools
