// The steps of a conversion, in the process that does it.
#include "tools/old/conversion.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>
#include <iocache/iocache.h>
#include <iocache/iocache_host.h>

#include "tools/canvas/open_canvas.h"
#include "tools/failure.h"
#include "tools/file.h"
#include "tools/interrupt.h"
#include "tools/old/copy_file.h"
#include "tools/old/swap.h"
#include "tools/old/work_folder.h"

namespace iocache::tools {

namespace {

using step = conversion_plan::step;

constexpr std::string_view kept_ending = ".orig";

std::string kept_name(const std::string& path)
{
    return path + std::string(kept_ending);
}

// NAME of NAME.orig; empty for another name.
std::string name_of_kept(const std::string& path)
{
    return path.ends_with(kept_ending) ? path.substr(0, path.size() - kept_ending.size()) : "";
}

std::string name_beside(const std::string& path)
{
    return path + ".canvas";
}

bool exists(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

// Whether `path` is the canvas that this old file becomes.
bool is_canvas_of(const std::string& path, const old_file& old)
{
    try {
        const old_file found = recognise(path);
        return !found.is_old() && found.closed && found.kind == old.kind && found.x_max == old.x_max &&
               found.y_max == old.y_max;
    } catch (const failure&) {
        return false;
    }
}

failure missing_file(const std::string& path)
{
    errno = ENOENT;
    return system_failure(path, "cannot open");
}

// The original is gone from its name: a run may have been killed between taking it away and putting the canvas there.
conversion_plan plan_of_missing(const std::string& path)
{
    const std::string kept = kept_name(path);
    if (!work_folder::is_left(path) || !exists(kept)) throw missing_file(path);
    conversion_plan plan{step::complete, recognise(kept), kept, path};
    if (!plan.file.is_old() || !is_canvas_of(work_folder::copy_of(path), plan.file)) throw missing_file(path);
    return plan;
}

conversion_plan plan_beside(const std::string& path, const old_file& file)
{
    const std::string canvas = name_beside(path);
    if (!exists(canvas)) return {step::convert, file, path, canvas};
    if (is_canvas_of(canvas, file)) return {step::none, file, path, canvas};
    throw failure(exit_code::not_readable, canvas + ": the file exists already; it is left alone");
}

void check_room(const std::string& path, const old_file& file)
{
    const std::int64_t wanted =
        file.bytes + cv_calculate_filesize(file.x_max + 1, file.y_max + 1, static_cast<std::int32_t>(file.kind));
    const std::int64_t free = free_bytes(folder_of(path));
    if (free >= 0 && wanted > free) {
        throw failure(
            exit_code::no_room,
            fmt::format("{}: would not fit: converting it needs {} bytes, and {} are free", path, wanted, free));
    }
}

// What a library that is ended in the middle would leave in the folder for temporary files goes, and so does the
// process, by the signal that came.
void end_process(int signal)
{
    ::unlink(cv_tile_sema_file);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// Turns the copy into a canvas, in its place. Returns its palette.
std::vector<std::uint8_t> convert_in_place(const std::string& copy, const std::string& original, file_format format)
{
    forget_library_message();
    if (format == file_format::block) {
        if (cv_convert_old_file(copy.c_str()) != 0) throw library_failure(original, "cannot convert");
    } else {
        const std::int32_t number = canvas_old(copy.c_str());
        if (number < 0) {
            constexpr std::int32_t other_tile_size = -96;
            if (number != other_tile_size) throw library_failure(original, "cannot convert");
            throw failure(exit_code::unsupported, original + ": a canvas of this tile size is not supported");
        }
        if (canvas_close(number) != 0) throw library_failure(original, "cannot write");
    }
    std::int32_t bytes = 0;
    const std::uint8_t* const palette = cv_ask_palet(&bytes);
    std::vector<std::uint8_t> entries;
    if (palette != nullptr) entries.assign(palette, palette + bytes);
    cv_free_palet();
    return entries;
}

// The canvas that the copy has become is what its original said it would be.
void check_canvas(const std::string& canvas, const std::string& path, const old_file& old)
{
    if (!is_canvas_of(canvas, old)) {
        throw failure(exit_code::not_readable, path + ": cannot convert: the canvas is not complete");
    }
}

class file_state {
public:
    explicit file_state(std::string path) : path_(std::move(path)) { look(then_); }
    void check_unchanged() const
    {
        struct stat now {};
        look(now);
        if (now.st_ino == then_.st_ino && now.st_size == then_.st_size && now.st_mtim.tv_sec == then_.st_mtim.tv_sec &&
            now.st_mtim.tv_nsec == then_.st_mtim.tv_nsec) {
            return;
        }
        throw failure(exit_code::not_readable, path_ + ": the file has been changed meanwhile; it is left as it is");
    }
    // Owner, if that is allowed, and permissions of the file go to another one.
    void give_permissions_to(const std::string& path) const
    {
        if (::lchown(path.c_str(), then_.st_uid, then_.st_gid) != 0) errno = 0;  // only root may
        constexpr mode_t permissions = 0777;
        if (::chmod(path.c_str(), then_.st_mode & permissions) != 0) throw system_failure(path, "cannot write");
    }

private:
    std::string path_;
    struct stat then_ {};

    void look(struct stat& status) const
    {
        if (::lstat(path_.c_str(), &status) != 0) throw system_failure(path_, "cannot open");
    }
};

std::vector<std::uint8_t> convert_copy(const std::string& path, const conversion_options& options,
                                       const conversion_plan& plan)
{
    const work_folder folder(path);
    const file_state before(path);
    const std::string copy = folder.copy();
    std::vector<std::uint8_t> palette;
    iocache_host_set_option("new_file_folder", folder.path().c_str());
    {
        const session running(options.session);
        check_room(path, plan.file);
        copy_file(path, copy);
        palette = convert_in_place(copy, path, plan.file.format);
    }
    check_canvas(copy, path, plan.file);
    before.give_permissions_to(copy);
    synchronise(copy);
    before.check_unchanged();
    if (options.keep) {
        rename_to_free_name(copy, plan.canvas);
        synchronise(folder_of(path));
    } else {
        swap_in(copy, path, plan.original);
    }
    return palette;
}

// A run that was killed had only the last step before it.
void complete(const conversion_plan& plan)
{
    rename_to_free_name(work_folder::copy_of(plan.canvas), plan.canvas);
    synchronise(folder_of(plan.canvas));
    work_folder::remove_left(plan.canvas);
}

}  // namespace

std::string file_to_convert(const std::string& path)
{
    std::string worked_on = work_folder::original_of(path);
    if (!worked_on.empty() && (exists(worked_on) || exists(kept_name(worked_on)))) return worked_on;
    std::string name = name_of_kept(path);
    if (!name.empty() && !exists(name) && work_folder::is_left(name)) return name;
    return path;
}

conversion_plan plan_conversion(const std::string& path, const conversion_options& options)
{
    if (!exists(path)) return plan_of_missing(path);
    const old_file file = recognise(path);
    if (!file.is_old()) {
        const std::string kept = kept_name(path);
        return {step::none, file, exists(kept) ? kept : "", path};
    }
    // What an earlier run kept is not converted once more.
    const std::string name = name_of_kept(path);
    if (!name.empty() && exists(name) && (is_same_file(name, path) || is_canvas_of(name, file))) {
        return {step::none, file, path, name};
    }
    if (options.keep) return plan_beside(path, file);
    const std::string kept = kept_name(path);
    if (exists(kept) && !is_same_file(path, kept)) {
        throw failure(exit_code::not_readable, kept + ": the file exists already; it is left alone, and so is " + path);
    }
    return {step::convert, file, kept, path};
}

conversion_result convert_old_file(const std::string& path, const conversion_options& options)
{
    take_interrupts(end_process);
    conversion_plan plan = plan_conversion(path, options);
    if (plan.next == step::none && plan.canvas != path) return {std::move(plan), {}};
    const file_lock lock(plan.next == step::complete ? plan.original : path);
    plan = plan_conversion(path, options);  // as it is now that nobody else works on it
    std::vector<std::uint8_t> palette;
    switch (plan.next) {
        case step::convert:
            palette = convert_copy(path, options, plan);
            break;
        case step::complete:
            complete(plan);
            break;
        case step::none:
            work_folder::remove_left(path);  // of a run that was killed at its very end
            break;
    }
    return {std::move(plan), std::move(palette)};
}

void remove_left_work(const std::string& path)
{
    if (!work_folder::is_left(path) || !exists(path)) return;
    try {
        const file_lock lock(path);
        work_folder::remove_left(path);
    } catch (const failure&) {
        return;  // someone else's, or out of reach: the next run tells
    }
}

}  // namespace iocache::tools
