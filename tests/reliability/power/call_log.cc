#include "tests/reliability/power/call_log.h"

#include <algorithm>
#include <cstring>

#include <sys/stat.h>

namespace {

using namespace iocache_test;
using recorder::action;

bool is_of_names(action what)
{
    switch (what) {
        case action::create:
        case action::folder:
        case action::rename:
        case action::exchange:
        case action::link:
        case action::remove:
            return true;
        default:
            return false;
    }
}

std::string folder_of(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

bool makes_sure(const recorded_call& sync, const recorded_call& call)
{
    if (sync.what == action::sync_file) return !is_of_names(call.what) && sync.file == call.file;
    if (sync.what != action::sync_folder || !is_of_names(call.what)) return false;
    return folder_of(call.path) == sync.path || (!call.to.empty() && folder_of(call.to) == sync.path);
}

void change_names(disk& on, const recorded_call& call)
{
    switch (call.what) {
        case action::create:
            on.names[call.path] = call.file;
            break;
        case action::folder:
            on.folders.insert(call.path);
            break;
        case action::rename:
            on.names.erase(call.path);
            on.names[call.to] = call.file;
            break;
        case action::exchange:
            on.names[call.to] = call.file;
            on.names[call.path] = call.other_file;
            break;
        case action::link:
            on.names[call.to] = call.file;
            break;
        case action::remove:
            on.names.erase(call.path);
            on.folders.erase(call.path);
            break;
        default:
            break;
    }
}

void change_length(disk& on, const recorded_call& call)
{
    size_t& length = on.lengths[call.file];
    bytes& content = on.files[call.file];
    if (call.what == action::length && call.offset < length) content.resize(call.offset);
    length = call.what == action::length ? call.offset : std::max(length, call.offset + call.data.size());
    content.resize(std::max(content.size(), length));
}

void change_data(disk& on, const recorded_call& call, const sector_filter& keeps)
{
    bytes& content = on.files[call.file];
    content.resize(std::max(content.size(), call.offset + call.data.size()));
    for (size_t done = 0; done < call.data.size();) {
        const size_t at = call.offset + done;
        const size_t to_border = keeps ? sector_bytes - at % sector_bytes : call.data.size();
        const size_t count = std::min(to_border, call.data.size() - done);
        if (!keeps || keeps(at / sector_bytes)) std::memcpy(&content[at], &call.data[done], count);
        done += count;
    }
}

}  // namespace

void call_log::note_files(const std::vector<std::string>& folders)
{
    for (const std::string& folder : folders) {
        before_.folders.insert(folder);
        for (const auto& found : std::filesystem::directory_iterator(folder)) {
            struct stat now = {};
            if (stat(found.path().c_str(), &now) != 0 || !S_ISREG(now.st_mode)) continue;
            known_files_[{now.st_dev, now.st_ino}] = before_.files.size();
            before_.names[found.path().string()] = before_.files.size();
            before_.add_file(read_whole_file(found.path().string()));
        }
    }
}

void call_log::read(const std::string& log)
{
    const bytes all = read_whole_file(log);
    disk now = before_;
    for (size_t at = 0; at < all.size();) {
        recorder::entry one;
        std::memcpy(&one, &all.at(at), sizeof one);
        at += sizeof one;
        const auto next = [&](size_t count) {
            const auto begin = all.begin() + static_cast<std::ptrdiff_t>(at);
            at += count;
            return std::pair(begin, begin + static_cast<std::ptrdiff_t>(count));
        };
        recorded_call call;
        call.what = one.what;
        call.offset = static_cast<size_t>(one.offset);
        const auto path = next(one.path_bytes);
        call.path.assign(path.first, path.second);
        const auto to = next(one.to_bytes);
        call.to.assign(to.first, to.second);
        const auto data = next(one.data_bytes);
        call.data.assign(data.first, data.second);
        take(one, std::move(call), now);
    }
    settle();
}

// Calls that are about other folders and their files are of no interest.
void call_log::take(const recorder::entry& one, recorded_call call, disk& now)
{
    if (!find_files(one, call, now)) return;
    const size_t number = calls_.size();
    calls_.push_back(std::move(call));
    const recorded_call& kept = calls_.back();
    const size_t first = steps_.size();
    if (is_of_names(kept.what)) steps_.push_back({number, step::sort::name, never});
    const bool grows = kept.what == action::write && kept.offset + kept.data.size() > now.lengths[kept.file];
    if (grows || kept.what == action::length) steps_.push_back({number, step::sort::length, never});
    if (kept.what == action::write) steps_.push_back({number, step::sort::data, never});
    for (size_t i = first; i < steps_.size(); ++i) apply(now, i);
}

bool call_log::find_files(const recorder::entry& one, recorded_call& call, disk& now)
{
    const auto named = [&now](const std::string& path, size_t& file) {
        const auto found = now.names.find(path);
        if (found != now.names.end()) file = found->second;
        return found != now.names.end();
    };
    switch (call.what) {
        case action::create:
            if (!now.folders.contains(folder_of(call.path))) return false;
            call.file = now.files.size();
            known_files_[{one.device, one.file}] = call.file;
            now.add_file({});
            before_.add_file({});
            return true;
        case action::folder:
            return now.folders.contains(folder_of(call.path));
        case action::rename:
        case action::link:
            return named(call.path, call.file);
        case action::exchange:
            return named(call.path, call.file) && named(call.to, call.other_file);
        case action::remove:
            return now.folders.contains(call.path) || named(call.path, call.file);
        case action::sync_folder:
        case action::closed:
            return true;
        default: {
            const auto found = known_files_.find({one.device, one.file});
            if (found != known_files_.end()) call.file = found->second;
            return found != known_files_.end();
        }
    }
}

void call_log::settle()
{
    for (size_t number = 0; number < calls_.size(); ++number) {
        for (step& one : steps_) {
            if (one.call >= number) break;
            if (one.sure_from == never && makes_sure(calls_[number], calls_[one.call])) one.sure_from = number;
        }
    }
}

std::vector<size_t> call_log::unsure_at(size_t call) const
{
    std::vector<size_t> unsure;
    for (size_t i = 0; i < steps_.size() && steps_[i].call < call; ++i) {
        if (steps_[i].sure_from >= call) unsure.push_back(i);
    }
    return unsure;
}

std::vector<size_t> call_log::borders() const
{
    std::set<size_t> all{calls_.size()};
    for (const step& one : steps_) {
        if (one.sure_from != never) all.insert(one.sure_from);
    }
    return {all.begin(), all.end()};
}

void call_log::apply(disk& on, size_t number, const sector_filter& keeps) const
{
    const recorded_call& call = calls_[steps_[number].call];
    switch (steps_[number].what) {
        case step::sort::name:
            return change_names(on, call);
        case step::sort::length:
            return change_length(on, call);
        case step::sort::data:
            return change_data(on, call, keeps);
    }
}

disk call_log::sure_at(size_t call) const
{
    disk on = before_;
    for (size_t i = 0; i < steps_.size(); ++i) {
        if (steps_[i].sure_from < call) apply(on, i);
    }
    return on;
}

disk call_log::whole_at(size_t call) const
{
    disk on = before_;
    for (size_t i = 0; i < steps_.size() && steps_[i].call < call; ++i) apply(on, i);
    on.settle();
    return on;
}
