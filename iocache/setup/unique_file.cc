#include "iocache/setup/unique_file.h"

#include <cerrno>
#include <cstring>
#include <random>
#include <string_view>

#include <fcntl.h>

int iocache::setup::create_unique_file(std::span<char> path, mode_t mode)
{
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    constexpr size_t suffix_length = 6;
    constexpr int tries = 1000;

    const std::span<char> suffix = path.subspan(std::strlen(path.data()) - suffix_length, suffix_length);
    std::random_device random;
    std::uniform_int_distribution<size_t> choose(0, letters.size() - 1);
    for (int i = 0; i < tries; ++i) {
        for (char& letter : suffix) letter = letters[choose(random)];
        const int descriptor = open(path.data(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
        if (descriptor >= 0 || errno != EEXIST) return descriptor;
    }
    return -1;
}
