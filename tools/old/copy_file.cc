// copy_file_range, and read and write where it does not work.
#include "tools/old/copy_file.h"

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/failure.h"
#include "tools/file.h"

namespace iocache::tools {

namespace {

constexpr std::size_t piece_bytes = std::size_t{4} << 20;

failure cannot_copy(const std::string& from, const std::string& to)
{
    if (is_no_room(errno)) { return {exit_code::no_room, from + ": would not fit: the disk is full"}; }
    return system_failure(to, "cannot copy");
}

class copier {
public:
    copier(const std::string& from, const std::string& to)
        : from_(from),
          to_(to),
          source_(open_for_reading(from)),
          target_(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR))
    {
        if (target_.get() < 0) throw system_failure(to, "cannot make a copy");
    }

    void copy()
    {
        for (std::int64_t left = file_bytes(source_, from_); left > 0;) {
            const std::int64_t done = copy_piece();
            if (done < 0) throw cannot_copy(from_, to_);
            if (done == 0) throw failure(exit_code::not_readable, from_ + ": cannot read: the file has become shorter");
            left -= done;
        }
        if (!target_.close()) throw cannot_copy(from_, to_);
    }

private:
    std::string from_;
    std::string to_;
    file_descriptor source_;
    file_descriptor target_;
    bool by_system_ = true;
    std::vector<char> buffer_;

    std::int64_t copy_piece()
    {
        if (by_system_) {
            const ssize_t done = ::copy_file_range(source_.get(), nullptr, target_.get(), nullptr, piece_bytes, 0);
            if (done >= 0) return done;
            // Not every pair of file systems can; nothing has been copied then.
            by_system_ = errno != EXDEV && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP;
            if (by_system_) return done;
        }
        return copy_through_memory();
    }

    std::int64_t copy_through_memory()
    {
        buffer_.resize(piece_bytes);
        const ssize_t count = ::read(source_.get(), buffer_.data(), buffer_.size());
        for (ssize_t written = 0; written < count;) {
            const ssize_t done =
                ::write(target_.get(), buffer_.data() + written, static_cast<std::size_t>(count - written));
            if (done < 0) return -1;
            written += done;
        }
        return count;
    }
};

}  // namespace

void copy_file(const std::string& from, const std::string& to)
{
    copier(from, to).copy();
}

}  // namespace iocache::tools
