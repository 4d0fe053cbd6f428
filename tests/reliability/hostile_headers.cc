// Headers that lie, without an exception: every byte of the header in turn takes every value, and every pair of its
// numbers takes values at the edges. Each file is opened, used and closed; whatever opens is drawn on.
//
// Exit code 0: nothing died, hung, asked the host to end, or was left behind. To be run under sanitizers too: the cases
// of one byte, or of one pair, run in one process. Without --all a sample is taken until the time is over.
#include <array>
#include <fstream>
#include <limits>
#include <random>

#include "iocache/canvas/file_layout.h"
#include "tests/canvas/canvas_test.h"
#include "tests/reliability/laboratory.h"
#include "tests/reliability/oracle.h"

namespace {

using namespace iocache_test;
namespace canvas = iocache::canvas;

constexpr int byte_values = 256;
constexpr int32_t small_frame = 128;  // so that a small canvas has a reduced image

int say_nothing(const char* /*format*/, ...)
{
    return 0;
}

// Shared with the children that open the files.
struct counts {
    std::atomic<int64_t> cases{0};
    std::atomic<int64_t> opened{0};
    std::atomic<int64_t> left_behind{0};
    std::atomic<int64_t> current{0};  // the case at work, to be told when it was the last
};

// A change of the header.
struct change {
    size_t place;
    bytes value;
};

class hostile_file {
public:
    hostile_file(const laboratory_folder& folder, int32_t kind) : path_(folder.file(kind == 1 ? "picture" : "mask"))
    {
        const auto make = [&] {
            const running_library library(mode::in_line);
            cv_max_lres_hor = cv_max_lres_vert = small_frame;
            const int32_t number = canvas_new(path_.c_str(), kind, 0, 0, 299, 139, 10, 0);
            cv_mark_canvas_save(number);
            const bytes pixels(size_t{4} * 300, 7);
            cv_storeline(number, pixels.data(), kind == 1 ? pixels.data() : nullptr, 5, 0, 299);
            return canvas_close(number);
        };
        if (run_in_child(make).exit_code != 0) std::abort();
        contents_ = read_whole_file(path_);
    }

    void write(const std::vector<change>& changes) const
    {
        bytes changed = contents_;
        for (const change& one : changes)
            std::copy(one.value.begin(), one.value.end(), changed.begin() + static_cast<std::ptrdiff_t>(one.place));
        write_whole_file(path_, changed);
    }
    uint8_t byte(size_t place) const { return contents_[place]; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
    bytes contents_;
};

// Everything that goes by the header: lines, columns, pixels, reduced image, icon, blocks, margins.
void use(int32_t number)
{
    const cv_canvas& record = *canvastable[number];
    const cv_geometry view = record.geom_orig;
    bytes colour(4 * static_cast<size_t>(std::max(view.width, view.height)), 3);
    bytes alpha(static_cast<size_t>(std::max(view.width, view.height)), 3);
    for (const int32_t y : {view.y_min, view.y_min + view.height / 2, view.y_max}) {
        cv_getline(number, colour.data(), alpha.data(), y, view.x_min, view.x_max);
        cv_storeline(number, colour.data(), alpha.data(), y, view.x_min, view.x_max);
    }
    uint32_t pixel_alpha = 0;
    cv_ask_value_pixel(canvastable[number], view.x_max, view.y_max, &pixel_alpha);
    cv_read_subsampled(number);
    cv_write_icon(number);
    cv_tqcms_proc_get(number);
    cv_ink_color_def_get(number);
    cv_clear_side(number);
}

void open_and_use(const hostile_file& file, counts& all)
{
    const size_t descriptors = open_descriptors();
    host().clear();
    ++all.cases;
    const int32_t number = canvas_old(file.path().c_str());
    if (number >= 0) {
        ++all.opened;
        use(number);
        canvas_close(number);
    }
    if (used_slots() != 0 || open_descriptors() != descriptors || host().kills() != 0) ++all.left_behind;
}

// Runs all variants of one sort in one child. Each variant is a list of changes.
class bench {
public:
    bench(const hostile_file& file, mode how) : file_(file), how_(how) {}

    void run(const std::string& what, const std::vector<std::vector<change>>& variants)
    {
        const child_end end = run_in_child(
            [&] {
                const running_library library(how_, {8 * picture_tile_bytes, 2});
                cv_printf = say_nothing;
                cv_max_lres_hor = cv_max_lres_vert = small_frame;
                for (size_t i = 0; i < variants.size(); ++i) {
                    counts_->current = static_cast<int64_t>(i);
                    file_.write(variants[i]);
                    open_and_use(file_, *counts_);
                }
                return 0;
            },
            300);
        if (end.exit_code == 0) return;
        ++accidents_;
        std::printf("%s, variant %lld: %s %d\n", what.c_str(), static_cast<long long>(counts_->current.load()),
                    end.hung() ? "hung" : "died with", end.hung() ? 0 : end.signal);
    }

    int64_t accidents() const { return accidents_; }
    const counts& total() const { return *counts_; }

private:
    const hostile_file& file_;
    mode how_;
    shared_object<counts> counts_;
    int64_t accidents_ = 0;
};

// Not the file's own value.
std::vector<std::vector<change>> all_values_of(const hostile_file& file, size_t place)
{
    std::vector<std::vector<change>> variants;
    for (int value = 0; value < byte_values; ++value) {
        if (value == file.byte(place)) continue;
        variants.push_back({{place, {static_cast<uint8_t>(value)}}});
    }
    return variants;
}

bytes big_endian_bytes(int64_t value, size_t count)
{
    bytes result(count);
    put_big_endian(result, 0, count, static_cast<uint64_t>(value));
    return result;
}

std::vector<bytes> edge_values(const canvas::file_field& field)
{
    std::vector<int64_t> values;
    if (field.bytes == 2) values = {-32'768, -1, 0, 1, 2, 255, 257, 32'767};
    if (field.bytes == 4) {
        values = {std::numeric_limits<int32_t>::min(), -1, 0, 1, 512, 4096, 65'536, 16'777'215,
                  std::numeric_limits<int32_t>::max()};
    }
    // Doubles: zero, minus one, the smallest, infinity, not a number.
    if (field.bytes == 8) values = {0, -0x4010000000000000, 1, 0x7FF0000000000000, 0x7FF8000000000000};
    std::vector<bytes> all;
    all.reserve(values.size());
    for (const int64_t value : values) all.push_back(big_endian_bytes(value, field.bytes));
    return all;
}

std::vector<std::vector<change>> edge_pairs(const canvas::file_field& one, const canvas::file_field& other)
{
    std::vector<std::vector<change>> variants;
    for (const bytes& a : edge_values(one)) {
        for (const bytes& b : edge_values(other)) variants.push_back({{one.offset, a}, {other.offset, b}});
    }
    return variants;
}

std::vector<canvas::file_field> fields_that_matter()
{
    std::vector<canvas::file_field> fields;
    for (const canvas::file_field& field : canvas::header_fields) {
        const bool is_read = !field.name.starts_with("reserved") && !field.name.starts_with("tone") &&
                             !field.name.starts_with("orig") && field.name != "magic";
        if (is_read) fields.push_back(field);
    }
    return fields;
}

struct job {
    bool is_pair;
    size_t first;  // byte, or field
    size_t second;
};

std::vector<job> all_jobs(size_t fields)
{
    std::vector<job> jobs;
    for (size_t place = 0; place < size_t{canvas::header_bytes}; ++place) jobs.push_back({false, place, 0});
    for (size_t one = 0; one < fields; ++one) {
        for (size_t other = one + 1; other < fields; ++other) jobs.push_back({true, one, other});
    }
    return jobs;
}

}  // namespace

int main(int argc, char** argv)
{
    const laboratory_options options = parse_options(argc, argv);
    setenv("CV_NO_CLOSE_SYNC", "1", 1);
    const laboratory_folder folder;
    const stopwatch watch;
    const std::vector<canvas::file_field> fields = fields_that_matter();
    int64_t accidents = 0;
    int part = 0;
    std::printf("| file | bytes done | pairs done | files opened or refused | opened | left behind | died or hung |\n"
                "|---|---|---|---|---|---|---|\n");
    for (const int32_t kind : {0, 1}) {
        const hostile_file file(folder, kind);
        for (const mode how : {mode::in_line, mode::process}) {
            ++part;
            bench one(file, how);
            std::vector<job> jobs = all_jobs(fields.size());
            if (!options.all) std::shuffle(jobs.begin(), jobs.end(), std::mt19937(options.seed));
            int64_t done[2] = {0, 0};
            for (const job& now : jobs) {
                if (!options.all && watch.seconds() > options.seconds * part / 4) break;
                ++done[now.is_pair ? 1 : 0];
                if (now.is_pair) {
                    const canvas::file_field& a = fields[now.first];
                    const canvas::file_field& b = fields[now.second];
                    one.run(std::string(a.name) + " and " + std::string(b.name), edge_pairs(a, b));
                } else {
                    one.run("byte " + std::to_string(now.first), all_values_of(file, now.first));
                }
            }
            accidents += one.accidents() + one.total().left_behind;
            std::printf(
                "| %s, %s | %lld of %d | %lld of %zu | %lld | %lld | %lld | %lld |\n", kind == 1 ? "picture" : "mask",
                how == mode::process ? "process" : "in-line", static_cast<long long>(done[0]), canvas::header_bytes,
                static_cast<long long>(done[1]), fields.size() * (fields.size() - 1) / 2,
                static_cast<long long>(one.total().cases.load()), static_cast<long long>(one.total().opened.load()),
                static_cast<long long>(one.total().left_behind.load()), static_cast<long long>(one.accidents()));
            std::fflush(stdout);
        }
    }
    return accidents == 0 ? 0 : 1;
}
