// Argument checks shared by the operations.
#pragma once

namespace kelvcpx {

// True if any of the pointers is null. All null pointers give the same status, so one test serves a whole
// list.
template <class... T>
constexpr bool anyNull(const T*... pointers)
{
    return ((pointers == nullptr) || ...);
}

} // namespace kelvcpx
