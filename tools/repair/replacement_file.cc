// Write, synchronise, rename, synchronise the folder.
#include "tools/repair/replacement_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "tools/failure.h"
#include "tools/interrupt.h"

namespace iocache::tools {

namespace {

constexpr int most_kept = 1000;
constexpr mode_t permission_bits = 07777;

std::string without_links(const std::string& path)
{
    std::error_code problem;
    const std::filesystem::path real = std::filesystem::canonical(path, problem);
    return problem ? path : real.string();
}

failure write_failure(const std::string& path)
{
    if (is_no_room(errno)) return {exit_code::no_room, path + ": would not fit: there is no room for a copy"};
    return system_failure(path, "cannot write");
}

}  // namespace

replacement_file::replacement_file(const std::string& path) : path_(without_links(path)), output_(path_, true)
{
    struct stat old {};
    if (::stat(path_.c_str(), &old) != 0) throw system_failure(path_, "cannot read");
    const std::string& name = output_.working_path();
    file_ = file_descriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (file_.get() < 0) throw system_failure(name, "cannot make");
    output_.made();
    // Only root may give a file away; then it stays the caller's own.
    if (::fchown(file_.get(), old.st_uid, old.st_gid) != 0) errno = 0;
    if (::fchmod(file_.get(), old.st_mode & permission_bits) != 0) throw system_failure(name, "cannot make");
}

void replacement_file::copy_from(const canvas_file& file, std::int64_t bytes)
{
    constexpr std::int64_t piece_bytes = std::int64_t{1} << 20;
    const std::int64_t end = std::min(bytes, file.bytes());
    std::vector<std::uint8_t> piece;
    for (std::int64_t at = 0; at < end; at += piece_bytes) {
        check_interrupt();
        piece.resize(static_cast<std::size_t>(std::min(piece_bytes, end - at)));
        file.read_at(at, piece);
        write_at(at, piece);
    }
}

void replacement_file::resize(std::int64_t bytes)
{
    if (::ftruncate(file_.get(), static_cast<off_t>(bytes)) != 0) throw write_failure(working_path());
}

void replacement_file::write_at(std::int64_t offset, std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) throw write_failure(working_path());
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += count;
    }
}

void replacement_file::synchronise()
{
    if (::fsync(file_.get()) != 0) throw write_failure(working_path());
    if (!file_.close()) throw write_failure(working_path());
}

void replacement_file::take_place()
{
    synchronise();
    output_.commit();
    output_.synchronise_name();
}

std::string replacement_file::take_place_keeping(const std::string& ending)
{
    synchronise();
    for (int number = 1; number < most_kept; ++number) {
        std::string kept = number == 1 ? path_ + ending : fmt::format("{}{}-{}", path_, ending, number);
        // A second name for the old content first, and on the disk: there is always a file under the first one, and
        // whatever is lost when the power goes, the old content has a name.
        if (::link(path_.c_str(), kept.c_str()) == 0) {
            output_.synchronise_name();
            output_.commit();
            output_.synchronise_name();
            return kept;
        }
        if (errno != EEXIST) return keep_by_exchange(kept);
    }
    throw failure(exit_code::not_readable, path_ + ending + ": there are too many files of this name");
}

// For file systems where a file has one name only.
std::string replacement_file::keep_by_exchange(const std::string& kept)
{
    const std::string& working = output_.working_path();
    const auto exchange = [&] {
        return ::renameat2(AT_FDCWD, working.c_str(), AT_FDCWD, path_.c_str(), RENAME_EXCHANGE) == 0;
    };
    if (!exchange()) throw system_failure(path_, "cannot keep the old file");
    if (::renameat2(AT_FDCWD, working.c_str(), AT_FDCWD, kept.c_str(), RENAME_NOREPLACE) != 0) {
        const int reason = errno;
        exchange();
        errno = reason;
        throw system_failure(kept, "cannot keep the old file");
    }
    output_.synchronise_name();
    return kept;
}

}  // namespace iocache::tools
