// Start codes of MPEG video and of the byte stream format of H.264.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace kelvcpx::app {

// Position of the next start code prefix 00 00 01 at or after `from` that has a byte behind it, or the size
// of the data.
inline std::size_t findStartCode(std::span<const uint8_t> data, std::size_t from)
{
    while (from + 3 < data.size()) {
        const void* const one = std::memchr(data.data() + from + 2, 1, data.size() - from - 3);
        if (one == nullptr)
            break;
        const auto at = static_cast<std::size_t>(static_cast<const uint8_t*>(one) - data.data());
        if (data[at - 1] == 0 && data[at - 2] == 0)
            return at - 2;
        from = at - 1;
    }
    return data.size();
}

// Calls visit(first, end) for every unit behind a start code prefix, up to the next one or the end of the
// data.
template <class Visit>
void forEachUnit(std::span<const uint8_t> data, Visit visit)
{
    constexpr std::size_t prefix = 3;
    std::size_t at = findStartCode(data, 0);
    while (at + prefix < data.size()) {
        const std::size_t next = findStartCode(data, at + prefix);
        visit(at + prefix, next);
        at = next;
    }
}

} // namespace kelvcpx::app
