// A queue between two threads. What circulates in it is made once and used again and again, so the
// number of things made bounds the memory; the queue itself needs no limit.
//
// After close() nothing goes in any more; what is inside can still be taken out, unless the queue was
// abandoned, which empties it too. Every member may be called from any thread.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace iocache::tools {

template <class Item> class channel {
public:
    // A closed queue lets the item go.
    void push(Item item)
    {
        {
            const std::lock_guard held(guard_);
            if (closed_) return;
            items_.push_back(std::move(item));
        }
        changed_.notify_one();
    }

    // Waits for an item; nothing when the queue is closed and empty.
    std::optional<Item> pop()
    {
        std::unique_lock held(guard_);
        changed_.wait(held, [this] { return closed_ || !items_.empty(); });
        if (items_.empty()) return std::nullopt;
        std::optional<Item> item(std::move(items_.front()));
        items_.pop_front();
        return item;
    }

    void close()
    {
        {
            const std::lock_guard held(guard_);
            closed_ = true;
        }
        changed_.notify_all();
    }

    void abandon()
    {
        {
            const std::lock_guard held(guard_);
            closed_ = true;
            items_.clear();
        }
        changed_.notify_all();
    }

private:
    std::mutex guard_;  // of both members below
    std::deque<Item> items_;
    bool closed_ = false;
    std::condition_variable changed_;
};

}  // namespace iocache::tools
