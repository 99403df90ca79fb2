// Records that an operation builds in a buffer of the caller for others to read. They begin at the buffer's
// first 16-byte boundary, and with a tag that tells whether there is one.
#pragma once

#include <kelvcpx/types.h>

#include <array>
#include <cstddef>
#include <new>

namespace kelvcpx::mpeg4 {

using RecordTag = std::array<char, 4>;

constexpr std::size_t recordAlignment = 16;

// Bytes of a buffer that has room for the record wherever it begins.
template <class Record>
constexpr std::size_t recordBufferSize = sizeof(Record) + recordAlignment - 1;

// Bytes before the record.
inline std::size_t bytesToRecord(const void* buffer)
{
    return (recordAlignment - KEL_INT_PTR(buffer) % recordAlignment) % recordAlignment;
}

// A record has its kind's tag as `expectedTag` and its own as `tag`.
template <class Record>
void placeRecord(void* buffer, const Record& record)
{
    static_assert(alignof(Record) <= recordAlignment);
    new (static_cast<std::byte*>(buffer) + bytesToRecord(buffer)) Record(record);
}

// Null if the tag is not that of the record.
template <class Record>
const Record* recordIn(const void* buffer)
{
    const void* const place = static_cast<const std::byte*>(buffer) + bytesToRecord(buffer);
    const auto* const record = static_cast<const Record*>(place);
    return record->tag == Record::expectedTag ? record : nullptr;
}

} // namespace kelvcpx::mpeg4
