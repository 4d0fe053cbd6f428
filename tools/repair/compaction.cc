// Everything in front of the tiles is copied as it stands, but for the table and the count.
#include "tools/repair/compaction.h"

#include <array>
#include <cstring>

#include "iocache/canvas/file_layout.h"
#include "tools/failure.h"
#include "tools/interrupt.h"
#include "tools/progress.h"
#include "tools/reader/pixel_reader.h"
#include "tools/reader/small_images.h"
#include "tools/repair/repaired_copy.h"
#include "tools/verify/checks.h"

namespace iocache::tools {

namespace {

void refuse_damage(const canvas_file& file)
{
    for (const finding& one : verify(file, depth::quick)) {
        const bool is_mended_by_this = one.id == "orphan" || one.id == "tail";
        if (one.severity == weight::notice || is_mended_by_this) continue;
        throw failure(exit_code::unsupported, file.path() + ": " + one.what + "; `iocache repair` comes first");
    }
}

void check_copy(const canvas_file& file, const pixel_reader& before, const std::string& path)
{
    const canvas_file copy(path);
    const pixel_reader after(copy);
    progress bar("check", before.map().tiles());
    for (std::size_t tile = 0; tile < before.table().entries.size(); ++tile) {
        check_interrupt();
        bar.advance(1);
        const std::int32_t from = before.table().entries[tile];
        const std::int32_t to = after.table().entries[tile];
        if (from < 0 && to < 0) continue;
        if (from < 0 || to < 0 || read_slot(file, before.map(), from) != read_slot(copy, after.map(), to))
            throw failure(exit_code::not_readable, path + ": cannot write: the copy is not what was written");
    }
}

}  // namespace

compaction plan_compaction(const canvas_file& file)
{
    refuse_damage(file);
    const pixel_reader before(file);
    compaction plan;
    std::int64_t kept = 0;
    for (const std::int32_t slot : before.table().entries) {
        if (slot < 0) continue;
        plan.moved += slot != kept ? 1 : 0;
        ++kept;
    }
    plan.dropped = file.header().tiles_written - kept;
    plan.bytes = before.map().slot_offset(kept);
    return plan;
}

void write_compacted(const canvas_file& file, replacement_file& copy)
{
    const pixel_reader before(file);
    const file_map& map = before.map();
    std::vector<std::int32_t> entries = before.table().entries;
    copy.copy_from(file, map.tiles_offset);
    cv_header header = file.header();
    header.tiles_written = 0;
    {
        progress bar("compact", map.tiles());
        for (std::int32_t& entry : entries) {
            check_interrupt();
            bar.advance(1);
            if (entry < 0) continue;
            copy.write_at(map.slot_offset(header.tiles_written), read_slot(file, map, entry));
            entry = header.tiles_written++;
        }
    }
    write_table(copy, map, std::move(entries));
    write_header(copy, header);
    check_copy(file, before, copy.working_path());
}

}  // namespace iocache::tools
