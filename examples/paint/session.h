// The running library: started with the settings of the command line, stopped at the end of the scope.
#ifndef IOCACHE_EXAMPLES_PAINT_SESSION_H
#define IOCACHE_EXAMPLES_PAINT_SESSION_H

#include <cstdint>
#include <string>

namespace paint {

enum class cache_mode { process, in_line };

class session {
public:
    session(int32_t cache_mebibytes, cache_mode mode);
    ~session();
    session(const session&) = delete;
    session& operator=(const session&) = delete;
};

// What the library told its host last; empty when nothing yet. Any thread.
std::string last_message();

}  // namespace paint

#endif
