#include "core/huffman_lookup.h"

#include "core/arguments.h"
#include "mpeg2/code_list.h"

#include <kelvcpx/core.h>
#include <kelvcpx/mpeg2.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <span>

namespace kelvcpx::huffman {
namespace {

constexpr int32_t longestCode = 32;
constexpr int32_t mostLevels = longestCode; // more could never be reached
constexpr int64_t mostEntries = int64_t{1} << 24;

// The head of a code list: the widths of the levels. The codes follow.
struct CodeList {
    Kind kind;
    std::span<const int32_t> widths;
    const int32_t* groups;

    int32_t totalWidth() const
    {
        int32_t total = 0;
        for (const int32_t width : widths)
            total += width;
        return total;
    }
};

bool parseHead(Kind kind, const int32_t* words, CodeList& list)
{
    const int32_t levels = words[1];
    if (levels < 1 || levels > mostLevels)
        return false;
    list = {kind, std::span(words + 2, static_cast<std::size_t>(levels)), words + 2 + levels};
    return std::all_of(list.widths.begin(), list.widths.end(),
                       [](int32_t width) { return width >= 1 && width <= 31; });
}

// Calls visit(Code) for the codes in list order, until it returns false. False if it did. Skips the codes
// that the levels cannot reach.
template <class Visit>
bool forEachCode(const CodeList& list, Visit visit)
{
    const int32_t reachable = list.totalWidth();
    return forEachEntry(list.groups, list.kind == Kind::value ? 2 : 3,
                        [&](const Code& code) { return code.length > reachable || visit(code); });
}

// The code's bits left-aligned in 32, so that equal prefixes stand together when they are sorted.
struct AlignedCode {
    uint32_t bits;
    int32_t length;

    uint32_t prefix(int32_t width) const { return bits >> (longestCode - width); }
    bool operator<(const AlignedCode& other) const { return bits < other.bits; }
};

struct Free {
    void operator()(void* block) const { std::free(block); }
};

// Number of entries of all the sub-tables of `width` bits that codes longer than `reached` bits need.
int64_t subTableEntries(std::span<const AlignedCode> sorted, int32_t reached, int32_t width)
{
    int64_t entries = 0;
    int64_t previous = -1;
    for (const AlignedCode& code : sorted) {
        if (code.length > reached && code.prefix(reached) != previous) {
            previous = code.prefix(reached);
            entries += 1 + (int64_t{1} << width);
        }
    }
    return entries;
}

// The number of entries of the table, or an error.
Status HuffmanTableSize(const CodeList& list, int64_t& size)
{
    std::size_t count = 0;
    const bool fits = forEachCode(list, [&](const Code& code) {
        count++;
        return code.length <= longestCode;
    });
    if (!fits)
        return StatusOutOfRange;

    const std::unique_ptr<AlignedCode[], Free> codes(
        static_cast<AlignedCode*>(std::malloc(sizeof(AlignedCode) * (count + 1))));
    if (codes == nullptr)
        return StatusOutOfMemory;
    std::size_t next = 0;
    forEachCode(list, [&](const Code& code) {
        codes[next++] = {code.bits << (longestCode - code.length), code.length};
        return true;
    });
    const std::span<AlignedCode> sorted(codes.get(), count);
    std::sort(sorted.begin(), sorted.end());

    size = 1 + (int64_t{1} << list.widths[0]);
    int32_t reached = 0;
    for (std::size_t level = 1; level < list.widths.size() && reached < longestCode; level++) {
        reached += list.widths[level - 1];
        if (reached < longestCode)
            size += subTableEntries(sorted, reached, list.widths[level]);
    }
    return size <= mostEntries ? StatusOk : StatusOutOfRange;
}

int32_t leafPayload(Kind kind, const int32_t* values)
{
    if (kind == Kind::value)
        return static_cast<int32_t>(static_cast<uint32_t>(values[0]) << 8);
    return static_cast<int32_t>(static_cast<uint32_t>(values[1]) << 16 |
                                (static_cast<uint32_t>(values[0]) & 0xFF) << 8);
}

// A table under construction, in a block that is known to be large enough.
class TableBuilder
{
public:
    TableBuilder(const CodeList& list, int32_t* table, int64_t size) : list_(list), table_(table), size_(size)
    {
        std::fill_n(table, size, emptyEntry);
        table[0] = list.widths[0];
        nextFree_ = 1 + (int32_t{1} << list.widths[0]);
    }

    void add(const Code& code)
    {
        int32_t current = 0; // index of the width word of the (sub-)table
        int32_t reached = 0; // bits looked at with it
        for (std::size_t level = 0;; level++) {
            reached += list_.widths[level];
            if (reached >= code.length) {
                fill(code, current, reached);
                return;
            }
            const uint32_t x = code.bits >> (code.length - reached) & mask(list_.widths[level]);
            int32_t& entry = table_[current + 1 + static_cast<int32_t>(x)];
            if (entry == emptyEntry)
                entry = newSubTable(list_.widths[level + 1]);
            if (!isLink(entry))
                return; // the list is not prefix-free: a shorter code stands here
            current = subTable(entry);
        }
    }

private:
    static uint32_t mask(int32_t bits) { return (uint32_t{1} << bits) - 1; }

    // There is always room but for some lists that are not prefix-free.
    int32_t newSubTable(int32_t width)
    {
        const int32_t index = nextFree_;
        if (index + 1 + (int64_t{1} << width) > size_)
            return emptyEntry;
        table_[index] = width;
        nextFree_ += 1 + (int32_t{1} << width);
        return static_cast<int32_t>(static_cast<uint32_t>(index) << 8 | linkMarker);
    }

    // Enters the leaf for every continuation of the surplus bits.
    void fill(const Code& code, int32_t current, int32_t reached)
    {
        const int32_t surplus = reached - code.length;
        const uint32_t slot = (code.bits << surplus) & mask(table_[current]);
        const int32_t leaf = leafPayload(list_.kind, code.values) | surplus;
        std::fill_n(table_ + current + 1 + slot, std::size_t{1} << surplus, leaf);
    }

    const CodeList& list_;
    int32_t* table_;
    int64_t size_;
    int32_t nextFree_;
};

Status HuffmanInitAlloc(Kind kind, const int32_t* pCodeList, int32_t** ppTable)
{
    if (anyNull(pCodeList, ppTable))
        return StatusNullPointer;

    CodeList list;
    int64_t size = 0;
    if (!parseHead(kind, pCodeList, list))
        return StatusOutOfRange;
    Status status = HuffmanTableSize(list, size);
    if (status == StatusOutOfRange)
        return status;
    int32_t* table = nullptr;
    if (status == StatusOk) {
        table =
            reinterpret_cast<int32_t*>(kelsMalloc_8u(static_cast<int32_t>(size * int64_t{sizeof(int32_t)})));
        if (table == nullptr)
            status = StatusOutOfMemory;
    }
    *ppTable = table;
    if (status != StatusOk)
        return status;

    TableBuilder builder(list, table, size);
    forEachCode(list, [&](const Code& code) {
        builder.add(code);
        return true;
    });
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::huffman

using namespace kelvcpx;

Status keliHuffmanTableInitAlloc_32s(const int32_t* pCodeList, int32_t** ppTable) noexcept
{
    return huffman::HuffmanInitAlloc(huffman::Kind::value, pCodeList, ppTable);
}

Status keliHuffmanRunLevelTableInitAlloc_32s(const int32_t* pCodeList, int32_t** ppTable) noexcept
{
    return huffman::HuffmanInitAlloc(huffman::Kind::runLevel, pCodeList, ppTable);
}

Status keliHuffmanTableFree_32s(int32_t* pTable) noexcept
{
    if (anyNull(pTable))
        return StatusNullPointer;
    kelsFree(pTable);
    return StatusOk;
}
