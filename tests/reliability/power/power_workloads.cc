#include "tests/reliability/power/power_workloads.h"

#include <cstring>

#include <unistd.h>

#include "tests/reliability/power/call_recorder.h"
#include "tests/support/block_writer.h"
#include "tests/support/file_reader.h"
#include "tools/old/conversion.h"
#include "tools/repair/compaction.h"
#include "tools/repair/repair_plan.h"
#include "tools/repair/repaired_copy.h"

namespace {

using namespace iocache_test;
namespace tools = iocache::tools;

constexpr size_t version_field = 0x370;
constexpr size_t width_field = 0x374;
constexpr size_t icon_bytes_field = 0x354;
constexpr size_t tile_bytes_field = 0x360;
constexpr size_t tiles_written_field = 0x364;

struct painter {
    power_places where;
    bool is_picture;
    mode how;

    // Runs body with the library, which has room for half of the tiles of a picture.
    template <class Body> void with_library(Body body) const
    {
        running_library library(how, {(is_picture ? 2 : 1) * picture_tile_bytes, 2});
        cv_max_lres_hor = cv_max_lres_vert = power_frame;
        iocache_host_set_option("new_file_folder", where.main.c_str());
        body();
    }
    int32_t create() const
    {
        const int32_t canvas = canvas_new(where.file().c_str(), is_picture ? 1 : 0, 0, 0, power_canvas_side - 1,
                                          power_canvas_side - 1, 0, 0);
        cv_mark_canvas_save(canvas);
        return canvas;
    }
    int32_t open() const { return canvas_old(where.file().c_str()); }

    void paint(int32_t canvas, int32_t tile, uint8_t value) const
    {
        const int32_t left = tile % power_tiles_across * power_tile_side;
        const int32_t top = tile / power_tiles_across * power_tile_side;
        bytes colour(size_t{power_tile_side} * 4);
        for (int32_t line = 0; line < power_tile_side; ++line) {
            for (size_t i = 0; i < colour.size(); ++i)
                colour[i] = static_cast<uint8_t>(static_cast<size_t>(value + line) + i);
            cv_storeline(canvas, colour.data(), is_picture ? &colour[size_t{power_tile_side} * 3] : nullptr, top + line,
                         left, left + power_tile_side - 1);
        }
    }
    static void close(int32_t canvas)
    {
        const std::string path = canvastable[canvas]->file_name;
        if (canvas_close(canvas) == 0) recorder::note_close(path);
    }

    // A closed canvas of these tiles.
    void make(const std::vector<int32_t>& tiles) const
    {
        with_library([&] {
            const int32_t canvas = create();
            for (const int32_t tile : tiles) paint(canvas, tile, static_cast<uint8_t>(40 * tile + 1));
            canvas_close(canvas);
        });
    }
    void change_file(const std::function<void(bytes&)>& change) const
    {
        bytes contents = read_whole_file(where.file());
        change(contents);
        write_whole_file(where.file(), contents);
    }
};

using action = std::function<void(const painter&)>;

power_workload workload(const painter& one, const std::string& name, const action& prepare, const action& run)
{
    power_workload all;
    all.group = name;
    all.name =
        name + (one.is_picture ? ", picture" : ", mask") + (one.how == mode::process ? ", process" : ", in-line");
    all.names = {one.where.file()};
    all.prepare = [one, prepare] { prepare(one); };
    all.run = [one, run] { run(one); };
    return all;
}

const action nothing = [](const painter&) {};
const action make_whole = [](const painter& one) { one.make({0, 1, 2, 3}); };
const action make_half = [](const painter& one) { one.make({1, 2}); };

// Opens, does it, closes.
action session(const std::function<void(const painter&, int32_t)>& work)
{
    return [work](const painter& one) {
        one.with_library([&] {
            const int32_t canvas = one.open();
            work(one, canvas);
            if (canvastable[canvas] != nullptr) painter::close(canvas);
        });
    };
}

power_workload create(const painter& one)
{
    return workload(one, "create, append", nothing, [](const painter& p) {
        p.with_library([&] {
            const int32_t canvas = p.create();
            for (const int32_t tile : {2, 0, 3}) p.paint(canvas, tile, static_cast<uint8_t>(tile + 1));
            painter::close(canvas);
        });
    });
}

power_workload append(const painter& one)
{
    return workload(one, "reopen, append", make_half, session([](const painter& p, int32_t canvas) {
                        for (const int32_t tile : {3, 0}) p.paint(canvas, tile, 99);
                    }));
}

power_workload append_one(const painter& one)
{
    return workload(one, "reopen, append a tile", make_half,
                    session([](const painter& p, int32_t canvas) { p.paint(canvas, 0, 98); }));
}

power_workload rewrite(const painter& one)
{
    return workload(one, "reopen, rewrite", make_whole, session([](const painter& p, int32_t canvas) {
                        for (const int32_t tile : {1, 3, 1}) p.paint(canvas, tile, static_cast<uint8_t>(70 + tile));
                    }));
}

power_workload three_sessions(const painter& one)
{
    return workload(one, "three sessions", nothing, [](const painter& p) {
        p.with_library([&] {
            int32_t canvas = p.create();
            p.paint(canvas, 1, 5);
            painter::close(canvas);
            canvas = p.open();
            for (const int32_t tile : {0, 1}) p.paint(canvas, tile, 6);
            painter::close(canvas);
            canvas = p.open();
            for (const int32_t tile : {3, 0}) p.paint(canvas, tile, 7);
            painter::close(canvas);
        });
    });
}

power_workload rename_to(const painter& one, const std::string& name, const std::string& target)
{
    power_workload all = workload(one, name, make_half, session([target](const painter& p, int32_t canvas) {
                                      p.paint(canvas, 2, 50);
                                      p.paint(canvas, 3, 51);
                                      canvas_rename_file(canvas, target.c_str());
                                  }));
    all.names.push_back(target);
    return all;
}

power_workload conversion(const painter& one, const std::string& name, const action& prepare, const action& run)
{
    power_workload all = workload(one, name, prepare, run);
    all.what = promise::complete_or_original;
    return all;
}

const action make_block_file = [](const painter& one) {
    old_image old;
    old.width = power_canvas_side;
    old.height = power_tile_side;
    old.type = one.is_picture ? 3 : 0;
    write_whole_file(one.where.file(), old_file(old));
};

const action make_version_1 = [](const painter& one) {
    one.make({1, 2});
    one.change_file([](bytes& contents) { put_big_endian(contents, version_field, 4, 1); });
};

const action open_and_close = session([](const painter&, int32_t) {});

// The commands, without their command line.
const action convert_old = [](const painter& one) {
    tools::conversion_options options;
    options.session = {4 * tools::mebibyte, 2, one.how == mode::in_line};
    static_cast<void>(tools::convert_old_file(one.where.file(), options));
};

const action make_damaged = [](const painter& one) {
    one.make({0, 1, 3});
    one.change_file([](bytes& contents) {
        put_big_endian(contents, width_field, 4, 3);
        put_big_endian(contents, icon_bytes_field, 4, 0);
    });
};

const action mend = [](const painter& one) {
    const tools::canvas_file file(one.where.file());
    const tools::repair_plan plan = tools::plan_repair(file, tools::table_trust::where_it_makes_sense);
    tools::replacement_file copy(one.where.file());
    tools::write_repaired(file, plan, copy);
    copy.take_place_keeping(".damaged");
};

// A slot at the end that no tile names.
const action make_loose = [](const painter& one) {
    one.make({3, 1, 0});
    one.change_file([](bytes& contents) {
        const auto slots = static_cast<uint64_t>(int32_at(contents, tiles_written_field));
        put_big_endian(contents, tiles_written_field, 4, slots + 1);
        contents.resize(contents.size() + static_cast<size_t>(int32_at(contents, tile_bytes_field)), 0x77);
    });
};

const action compact = [](const painter& one) {
    const tools::canvas_file file(one.where.file());
    tools::replacement_file copy(one.where.file());
    tools::write_compacted(file, copy);
    copy.take_place();
};

void add_commands(const painter& one, std::vector<power_workload>& all)
{
    all.push_back(conversion(one, "iocache convert-old", make_block_file, convert_old));
    all.back().keeps_original = true;
    if (one.how == mode::process) return;  // the others do without the library
    all.push_back(conversion(one, "iocache repair", make_damaged, mend));
    all.back().keeps_original = true;
    all.push_back(workload(one, "iocache compact", make_loose, compact));
}

}  // namespace

std::vector<power_workload> iocache_test::power_workloads(const power_places& where)
{
    std::vector<power_workload> all;
    for (const bool is_picture : {false, true}) {
        for (const mode how : {mode::in_line, mode::process}) {
            const painter one{where, is_picture, how};
            for (const auto make : {create, append, append_one, rewrite, three_sessions}) all.push_back(make(one));
            all.push_back(rename_to(one, "rename", where.main + "/renamed"));
            all.push_back(rename_to(one, "move to another disk", where.other + "/moved"));
            all.push_back(conversion(one, "open a file of blocks", make_block_file, open_and_close));
            if (!is_picture) all.push_back(conversion(one, "open version 1", make_version_1, open_and_close));
            add_commands(one, all);
        }
    }
    return all;
}
