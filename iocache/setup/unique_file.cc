#include "iocache/setup/unique_file.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/random.h>

int iocache::setup::create_unique_file(std::span<char> path, mode_t mode)
{
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    constexpr size_t suffix_length = 6;
    constexpr int tries = 1000;

    const std::span<char> suffix = path.subspan(std::strlen(path.data()) - suffix_length, suffix_length);
    for (int i = 0; i < tries; ++i) {
        std::array<unsigned char, suffix_length> random = {};
        static_cast<void>(getrandom(random.data(), random.size(), 0));  // so few bytes always come
        for (size_t at = 0; at < suffix_length; ++at) suffix[at] = letters[random[at] % letters.size()];
        const int descriptor = open(path.data(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
        if (descriptor >= 0 || errno != EEXIST) return descriptor;
    }
    return -1;
}
