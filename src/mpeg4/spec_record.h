// Specification records: in a buffer of the caller, at its first address that is a multiple of 16.
#pragma once

#include "core/arguments.h"
#include "core/rows.h"

#include <kelvcpx/types.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::mpeg4 {

// The last field of every record: tells the kinds apart, and from buffers that no Init has filled.
using Tag = std::array<char, 4>;

inline constexpr uintptr_t recordAlignment = 16;

// What the buffer needs for the record wherever it begins.
template <class Record>
inline constexpr int32_t recordBufferSize = sizeof(Record) + recordAlignment;

// What a GetSize operation does.
template <class Record>
Status reportSize(int32_t* pSize)
{
    if (anyNull(pSize))
        return StatusNullPointer;
    *pSize = recordBufferSize<Record>;
    return StatusOk;
}

template <class Record>
Record* recordIn(Record* buffer)
{
    const uintptr_t padding = -KEL_INT_PTR(buffer) % recordAlignment;
    return advanceBytes(buffer, static_cast<std::ptrdiff_t>(padding));
}

} // namespace kelvcpx::mpeg4
