// Taking back the steps of something that failed half-way.
#pragma once

namespace iocache::canvas {

// At scope end takes back the step above it, the newest first, unless what was begun is kept.
template <class Action> struct undo {
    const bool& kept;
    Action take_back;

    undo(const bool& kept_flag, Action action) : kept(kept_flag), take_back(action) {}
    ~undo()
    {
        if (!kept) take_back();
    }
    undo(const undo&) = delete;
    undo& operator=(const undo&) = delete;
};

}  // namespace iocache::canvas
