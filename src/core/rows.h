// Row addressing: every step of the public interface is a distance in bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kelvcpx {

// The element `bytes` bytes after `p`; for elements wider than a byte the step must keep their alignment.
template <class T>
T* advanceBytes(T* p, std::ptrdiff_t bytes)
{
    using Byte = std::conditional_t<std::is_const_v<T>, const unsigned char, unsigned char>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(p) + bytes);
}

// The first element of row `row`.
template <class T>
T* rowAt(T* p, std::ptrdiff_t step, std::ptrdiff_t row)
{
    return advanceBytes(p, step * row);
}

} // namespace kelvcpx
