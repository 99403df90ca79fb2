#include "dv/huffman_table.h"

#include "core/arguments.h"

#include <kelvcpx/core.h>
#include <kelvcpx/dv.h>

#include <algorithm>
#include <cstddef>
#include <limits>

namespace kelvcpx::dv {
namespace {

int32_t indexWidth(const int32_t* list)
{
    return list[0] & 0xFF;
}

// Enters the codes of a list; their length in the table is greater by `prefix`.
void fill(uint32_t* table, const int32_t* list, int32_t prefix)
{
    const int32_t width = indexWidth(list);
    const uint32_t mask = (uint32_t{1} << width) - 1;
    const int32_t* word = list + 3;
    for (int32_t length = 1; length <= width; length++) {
        const int32_t surplus = width - length;
        const int32_t count = *word++;
        for (int32_t i = 0; i < count; i++, word += 3) {
            const uint32_t first = static_cast<uint32_t>(word[0]) << surplus & mask;
            std::fill_n(table + first, std::size_t{1} << surplus,
                        packEntry(static_cast<uint32_t>(length + prefix), static_cast<uint32_t>(word[1]),
                                  static_cast<uint32_t>(word[2])));
        }
    }
}

// A block for so many entries, or null.
uint32_t* allocateEntries(int64_t count)
{
    constexpr int64_t most = std::numeric_limits<int32_t>::max() / int64_t{sizeof(uint32_t)};
    if (count > most)
        return nullptr;
    return reinterpret_cast<uint32_t*>(
        kelsMalloc_8u(static_cast<int32_t>(count * int64_t{sizeof(uint32_t)})));
}

} // namespace
} // namespace kelvcpx::dv

using namespace kelvcpx;

Status keliInitAllocHuffmanTable_DV_32u(const int32_t* pCodeList0, const int32_t* pCodeList1,
                                        uint32_t** ppTable) noexcept
{
    if (anyNull(pCodeList0, pCodeList1, ppTable))
        return StatusNullPointer;
    constexpr int32_t widest = 30; // wider ones are as impossible
    const int64_t entries0 = int64_t{1} << std::min(dv::indexWidth(pCodeList0), widest);
    const int64_t entries1 = int64_t{1} << std::min(dv::indexWidth(pCodeList1), widest);
    uint32_t* const table = dv::allocateEntries(entries0 + entries1);
    *ppTable = table;
    if (table == nullptr)
        return StatusOutOfMemory;
    std::fill_n(table, entries0 + entries1, uint32_t{dv::unfilledEntry});
    dv::fill(table, pCodeList0, 0);
    dv::fill(table + entries0, pCodeList1, dv::prefixBits);
    return StatusOk;
}

Status keliFreeHuffmanTable_DV_32u(uint32_t* pHuffTable) noexcept
{
    if (anyNull(pHuffTable))
        return StatusNullPointer;
    kelsFree(pHuffTable);
    return StatusOk;
}
