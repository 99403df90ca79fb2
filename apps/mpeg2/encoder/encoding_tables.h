// The codes of MPEG-2 as an encoder looks them up: by value.
#pragma once

#include "common/bit_writer.h"
#include "mpeg2/code_tables.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace kelvcpx::app::mpeg2 {

class CodeBook
{
public:
    explicit CodeBook(std::span<const ValueCode> rows);

    // The value must be one of the rows.
    void put(BitWriter& bits, int value) const
    {
        const Code& code = codes_[static_cast<std::size_t>(value - lowest_)];
        bits.put(code.bits, code.length);
    }

private:
    struct Code {
        uint32_t bits = 0;
        int length = 0;
    };
    int lowest_;
    std::vector<Code> codes_;
};

// The run-level codes of a coefficient table, in the library's form.
struct RunLevelBook {
    explicit RunLevelBook(std::size_t table); // 0: ISO/IEC 13818-2 table B.14, 1: table B.15

    struct Release {
        void operator()(int32_t* table) const;
    };
    std::unique_ptr<int32_t, Release> table;
    int32_t endOfBlockCode;
    int32_t endOfBlockLength;
};

struct EncodingTables {
    EncodingTables();

    CodeBook addressIncrement;
    std::array<CodeBook, 3> macroblockType; // of I, P and B pictures
    CodeBook codedBlockPattern;
    CodeBook motionCode;
    std::array<std::array<int32_t, 24>, 2> dcSize; // of luminance and chrominance: code and length by size
    std::array<RunLevelBook, 2> coefficients;
};

// Built at the first call, shared by all encoders.
const EncodingTables& encodingTables();

} // namespace kelvcpx::app::mpeg2
