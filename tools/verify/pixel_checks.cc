// Every tile is read once, in the order of the grid: its margin is looked at, and what the reduced image needs is taken.
#include <algorithm>

#include <fmt/format.h>

#include "iocache/canvas/file_layout.h"
#include "tools/failure.h"
#include "tools/interrupt.h"
#include "tools/progress.h"
#include "tools/reader/small_images.h"
#include "tools/verify/checks.h"

namespace iocache::tools {

namespace {

bool is_zero(const std::vector<std::uint8_t>& bytes)
{
    return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

class pixel_checker {
public:
    pixel_checker(const canvas_file& file, const sound_header& sound, const slot_table& table,
                  std::vector<finding>& findings)
        : file_(file),
          map_(sound.header),
          table_(table),
          findings_(findings),
          builder_(map_)
    {}

    void check()
    {
        read_tiles();
        tell_margins();
        if (unreadable_ > 0) return tell_unreadable();
        if (!builder_.is_possible()) return;
        check_reduced();
        check_icon();
    }

private:
    const canvas_file& file_;
    file_map map_;
    const slot_table& table_;
    std::vector<finding>& findings_;
    reduced_builder builder_;
    std::int64_t margin_pixels_ = 0;
    std::int64_t margin_tiles_ = 0;
    std::int64_t unreadable_ = 0;
    std::string first_unreadable_;

    void read_tiles()
    {
        const std::int64_t slots = map_.slots_begun(file_.bytes());
        progress bar("verify", map_.tiles());
        for (std::int64_t tile = 0; tile < map_.tiles(); ++tile) {
            check_interrupt();
            const std::int32_t slot = table_.entries[static_cast<std::size_t>(tile)];
            std::vector<std::uint8_t> bytes;
            if (slot >= 0 && slot < slots) bytes = read_tile(slot);
            if (!bytes.empty()) {
                const std::int64_t beside = margin_pixels(map_, tile, bytes);
                margin_pixels_ += beside;
                margin_tiles_ += beside > 0 ? 1 : 0;
            }
            if (builder_.is_possible()) builder_.take(tile, bytes);
            bar.advance(1);
        }
    }

    std::vector<std::uint8_t> read_tile(std::int32_t slot)
    {
        try {
            return read_slot(file_, map_, slot);
        } catch (const failure& problem) {
            if (unreadable_++ == 0) first_unreadable_ = problem.what();
            return {};
        }
    }

    void tell_unreadable()
    {
        findings_.push_back(
            {weight::damage, "unreadable", fmt::format("{} tile(s) cannot be read: {}", unreadable_, first_unreadable_),
             "The disk, or the connection to it, fails. Copy the file to another disk first of all.", unreadable_});
    }

    void tell_margins()
    {
        if (margin_pixels_ == 0) return;
        findings_.push_back({weight::damage, "margin",
                             fmt::format("{} pixel(s) outside of the image, in {} edge tile(s), are not empty",
                                         margin_pixels_, margin_tiles_),
                             "Nobody sees them, and the image is right. They would come to light if the canvas grew.",
                             margin_pixels_});
    }

    void check_reduced()
    {
        if (!map_.has_reduced()) return;
        const reduced_planes stored = stored_reduced(file_, map_);
        const reduced_planes& wanted = builder_.planes();
        if (stored.colour.size() != wanted.colour.size()) return;  // of a frame that no host uses
        const std::int64_t different = different_pixels(stored, wanted);
        if (different == 0) return;
        const std::string pixels =
            fmt::format("{} of {} pixels of the reduced image", different, map_.reduced_width * map_.reduced_height);
        if (is_zero(stored.colour) && is_zero(stored.alpha)) {
            tell(weight::notice, "reduced-empty", "the reduced image is empty",
                 "The program that painted never made one. `iocache refresh` does.", different);
        } else if (is_as_remade(stored, wanted)) {
            tell(weight::notice, "reduced-remade", pixels + " are laid out as opening leaves them",
                 "The canvas was opened after it had not been closed. Its small view shows another alpha until "
                 "`iocache refresh`; the image itself is right.",
                 different);
        } else {
            tell(weight::damage, "reduced-stale", pixels + " differ from the tiles",
                 "Either a program painted and left the small view as it was: then the image is right. Or tiles were "
                 "damaged since: then `iocache export --region` of such a place shows it.",
                 different);
        }
    }

    void tell(weight severity, const char* id, std::string what, std::string meaning, std::int64_t count)
    {
        findings_.push_back({severity, id, std::move(what), std::move(meaning), count});
    }

    [[nodiscard]] bool same_colour(const reduced_planes& one, const reduced_planes& other, std::size_t pixel) const
    {
        const std::size_t bytes = map_.pixel_bytes();
        return std::equal(&one.colour[pixel * bytes], &one.colour[pixel * bytes] + bytes, &other.colour[pixel * bytes]);
    }

    [[nodiscard]] std::int64_t different_pixels(const reduced_planes& stored, const reduced_planes& wanted) const
    {
        std::int64_t different = 0;
        for (std::size_t pixel = 0; pixel * map_.pixel_bytes() < wanted.colour.size(); ++pixel) {
            const bool same_alpha = !map_.has_alpha() || stored.alpha[pixel] == wanted.alpha[pixel];
            if (!same_alpha || !same_colour(stored, wanted, pixel)) ++different;
        }
        return different;
    }

    // What opening makes is right where it reaches; the rest is what the host's buffer held.
    [[nodiscard]] bool is_as_remade(const reduced_planes& stored, const reduced_planes& wanted) const
    {
        const remade_parts& remade = builder_.remade();
        for (std::size_t pixel = 0; pixel < remade.pixels.size(); ++pixel) {
            if (remade.pixels[pixel] && !same_colour(stored, wanted, pixel)) return false;
        }
        for (std::size_t pixel = 0; pixel < remade.alpha.size(); ++pixel) {
            if (remade.alpha[pixel] >= 0 && stored.alpha[pixel] != remade.alpha[pixel]) return false;
        }
        return true;
    }

    void check_icon()
    {
        if (map_.icon_width < 1 || map_.icon_height < 1) return;
        const std::vector<std::uint8_t> stored = stored_icon_pixels(file_, map_);
        std::vector<std::uint8_t> wanted = stored;
        put_icon(wanted, map_, builder_.planes());
        if (stored == wanted) return;
        std::int64_t different = 0;
        for (std::size_t i = 0; i < stored.size(); ++i) different += stored[i] != wanted[i] ? 1 : 0;
        if (is_zero(stored)) {
            tell(weight::notice, "icon-empty", "the icon is empty",
                 "The program that painted never made one. `iocache refresh` does.", different);
        } else if (is_icon_of_remade(stored)) {
            tell(weight::notice, "icon-remade", "the icon lacks what opening leaves out of the reduced image",
                 "The canvas was opened after it had not been closed. `iocache refresh` completes the icon.",
                 different);
        } else {
            tell(weight::damage, "icon-stale", fmt::format("{} byte(s) of the icon differ from the tiles", different),
                 "Lists of files show an older or a wrong image. The image itself is not touched by this.", different);
        }
    }

    // Differs only where the reduced image it was made of had not been made.
    [[nodiscard]] bool is_icon_of_remade(const std::vector<std::uint8_t>& stored) const
    {
        const icon_axes axes(map_);
        const std::size_t bytes = map_.pixel_bytes();
        const reduced_planes& wanted = builder_.planes();
        for (std::size_t row = 0; row < axes.rows.size(); ++row) {
            for (std::size_t column = 0; column < axes.columns.size(); ++column) {
                const auto from = static_cast<std::size_t>(axes.rows[row] * map_.reduced_width + axes.columns[column]);
                const std::size_t to = row * static_cast<std::size_t>(map_.icon_width) + column;
                if (!builder_.remade().pixels[from]) continue;
                if (!std::equal(&stored[to * bytes], &stored[to * bytes] + bytes, &wanted.colour[from * bytes])) {
                    return false;
                }
            }
        }
        return true;
    }
};

}  // namespace

void check_pixels(const canvas_file& file, const sound_header& sound, const slot_table& table,
                  std::vector<finding>& findings)
{
    pixel_checker(file, sound, table, findings).check();
}

}  // namespace iocache::tools
