// Code tables of a standard, written as the standard prints them, and the library's decoding tables made from
// them.
#pragma once

#include <kelvcpx/mpeg2.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace kelvcpx::app {

// A row of a code table: the code as the standard prints it, first bit first, and what it stands for.
struct ValueCode {
    std::string_view bits;
    int32_t value;
};

struct RunLevelCode {
    std::string_view bits;
    uint8_t run;
    int16_t level;
};

inline uint32_t codeBits(std::string_view bits)
{
    uint32_t code = 0;
    for (const char bit : bits)
        code = 2 * code + (bit == '1' ? 1 : 0);
    return code;
}

inline void appendValues(std::vector<int32_t>& list, const ValueCode& code)
{
    list.push_back(code.value);
}

inline void appendValues(std::vector<int32_t>& list, const RunLevelCode& code)
{
    list.insert(list.end(), {code.run, code.level});
}

// The library's form of a code table; `widths` are the bits looked at on each level of the lookup.
template <class Code>
std::vector<int32_t> makeCodeList(std::span<const Code> codes, std::span<const int32_t> widths)
{
    std::vector<int32_t> list{0, static_cast<int32_t>(widths.size())};
    list.insert(list.end(), widths.begin(), widths.end());
    std::size_t longest = 0;
    for (const Code& code : codes)
        longest = std::max(longest, code.bits.size());
    for (std::size_t length = 1; length <= longest; length++) {
        const auto hasLength = [=](const Code& code) { return code.bits.size() == length; };
        list.push_back(static_cast<int32_t>(std::count_if(codes.begin(), codes.end(), hasLength)));
        for (const Code& code : codes) {
            if (!hasLength(code))
                continue;
            list.push_back(static_cast<int32_t>(codeBits(code.bits)));
            appendValues(list, code);
        }
    }
    list.push_back(-1);
    return list;
}

// A decoding table, released with the object.
class HuffmanTable
{
public:
    HuffmanTable(std::span<const ValueCode> codes, std::initializer_list<int32_t> widths)
        : table_(build(keliHuffmanTableInitAlloc_32s,
                       makeCodeList(codes, std::span(widths.begin(), widths.size()))))
    {}

    HuffmanTable(std::span<const RunLevelCode> codes, std::initializer_list<int32_t> widths)
        : table_(build(keliHuffmanRunLevelTableInitAlloc_32s,
                       makeCodeList(codes, std::span(widths.begin(), widths.size()))))
    {}

    const int32_t* get() const { return table_.get(); }

private:
    using Builder = Status (*)(const int32_t*, int32_t**);
    struct Release {
        void operator()(int32_t* table) const { keliHuffmanTableFree_32s(table); }
    };

    static int32_t* build(Builder builder, const std::vector<int32_t>& list)
    {
        int32_t* table = nullptr;
        switch (builder(list.data(), &table)) {
        case StatusOk:
            return table;
        case StatusOutOfMemory:
            throw std::bad_alloc();
        default:
            throw std::logic_error("a code table of the application is malformed");
        }
    }

    std::unique_ptr<int32_t, Release> table_;
};

} // namespace kelvcpx::app
