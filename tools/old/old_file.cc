// Recognising old files.
#include "tools/old/old_file.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "iocache/canvas/file_layout.h"
#include "tools/failure.h"
#include "tools/file.h"
#include "tools/images/signature.h"
#include "tools/reader/canvas_file.h"

namespace iocache::tools {

namespace {

using block_header = std::array<std::uint8_t, convert::block_header_bytes>;

failure no_old_file(const std::string& path, const std::string& reason)
{
    return {exit_code::unsupported, fmt::format("{}: not an old file: {}; it is left alone", path, reason)};
}

// The file, if it is an ordinary one: opening anything else could wait for ever.
file_descriptor open_ordinary(const std::string& path)
{
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) throw system_failure(path, "cannot open");
    if (S_ISLNK(status.st_mode)) throw no_old_file(path, "it is a symbolic link");
    if (!S_ISREG(status.st_mode)) throw no_old_file(path, "it is not an ordinary file");
    return open_for_reading(path);
}

// As much of `target` as the file holds from there on.
std::size_t read_at(const file_descriptor& file, const std::string& path, std::int64_t offset,
                    std::span<std::uint8_t> target)
{
    std::size_t done = 0;
    while (done < target.size()) {
        const ssize_t count = ::pread(file.get(), target.data() + done, target.size() - done,
                                      static_cast<off_t>(offset + static_cast<std::int64_t>(done)));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw system_failure(path, "cannot read");
        if (count == 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

bool has_magic_number(const file_descriptor& file, const std::string& path)
{
    std::array<std::uint8_t, 4> bytes{};
    constexpr std::int64_t magic_at = offsetof(cv_header, magic);
    if (file_bytes(file, path) < canvas::header_bytes) return false;
    if (read_at(file, path, magic_at, bytes) < bytes.size()) return false;
    std::uint32_t number = 0;
    for (const std::uint8_t byte : bytes) number = number << 8 | byte;
    return number == static_cast<std::uint32_t>(canvas::magic_number);
}

// A canvas that was not closed may have grown for a tile that its header does not count yet.
bool has_exact_length(const canvas_file& file)
{
    const file_region tiles = file.regions().back();
    const std::int64_t beyond = file.bytes() - (tiles.offset + tiles.bytes);
    return beyond == 0 || (file.header().dirty != 0 && beyond > 0 && beyond <= file.header().tile_bytes);
}

old_file describe_canvas(const std::string& path)
{
    const canvas_file file(path);
    const std::vector<std::string> problems = file.problems();
    if (!problems.empty()) {
        throw failure(exit_code::unsupported, path + ": the canvas is damaged: " + problems.front());
    }
    const cv_header& header = file.header();
    old_file found;
    found.kind = file.kind();
    found.x_max = header.x_max;
    found.y_max = header.y_max;
    found.bytes = file.bytes();
    found.closed = header.dirty == 0;
    if (!file.is_converted_when_opened()) return found;
    if (!has_exact_length(file)) throw no_old_file(path, "its length is not what its header says");
    found.format = file_format::version_1;
    return found;
}

// Throws when the bytes cannot be a block file's header.
convert::block_image plausible_image(const block_header& header, std::int64_t bytes, const std::string& path)
{
    const convert::block_image image = convert::parse_block_header(header);
    const bool is_blank = std::ranges::all_of(header, [](std::uint8_t byte) { return byte == 0; });
    if (is_blank || !image.is_possible()) throw no_old_file(path, "its header makes no sense");
    if (image.file_bytes() != bytes) {
        throw no_old_file(
            path, fmt::format("its header would make it {} bytes long, and it has {}", image.file_bytes(), bytes));
    }
    return image;
}

convert::block_image read_block_image(const file_descriptor& file, const std::string& path)
{
    block_header header{};
    if (read_at(file, path, 0, header) < header.size()) throw no_old_file(path, "it is too short");
    return plausible_image(header, file_bytes(file, path), path);
}

// Whoever brings an image is helped by hearing of the other command, not of what its length ought to be.
convert::block_image read_block_image_or_tell(const file_descriptor& file, const std::string& path)
{
    try {
        return read_block_image(file, path);
    } catch (const failure&) {
        std::array<std::uint8_t, signature_bytes> begin{};
        read_at(file, path, 0, begin);
        const image_sort sort = sort_of(begin);
        if (sort == image_sort::none) throw;
        throw no_old_file(path,
                          fmt::format("it is a {} image, of which `iocache import` makes a canvas", name_of(sort)));
    }
}

}  // namespace

std::string old_file::text() const
{
    std::string text = fmt::format("{}{}, {} x {}", kind == canvas_kind::picture ? "picture" : "mask",
                                   format == file_format::version_1 ? " of version 1" : "", x_max + 1, y_max + 1);
    if (palette_entries > 0) {
        text += fmt::format(", {} palette {}", palette_entries, palette_entries == 1 ? "entry" : "entries");
    }
    return text;
}

old_file recognise(const std::string& path)
{
    const file_descriptor file = open_ordinary(path);
    if (has_magic_number(file, path)) return describe_canvas(path);
    const convert::block_image image = read_block_image_or_tell(file, path);
    old_file found;
    found.format = file_format::block;
    found.kind = image.is_picture ? canvas_kind::picture : canvas_kind::mask;
    found.x_max = image.x_max;
    found.y_max = image.y_max;
    found.palette_entries = image.has_palette() ? image.palette_entries : 0;
    found.bytes = image.file_bytes();
    return found;
}

std::optional<convert::block_image> find_block_image(const std::string& path)
{
    const file_descriptor file = open_for_reading(path);
    try {
        if (has_magic_number(file, path)) return std::nullopt;
        return read_block_image(file, path);
    } catch (const failure& problem) {
        if (problem.code() != exit_code::unsupported) throw;
        return std::nullopt;
    }
}

}  // namespace iocache::tools
