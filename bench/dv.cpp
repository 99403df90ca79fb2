// DV: segments, inverse quantisation, the 2-4-8 DCT.

#include "coefficients.h"

#include "dv/code_tables.h"
#include "dv/segment_encoder.h"

#include <kelvcpx/dv.h>

namespace {

using namespace kelvcpx::bench;
using namespace kelvcpx::test;

// A segment whose blocks have levels for nine tenths of it: busy blocks need what others leave over.
struct Segment {
    explicit Segment(const std::vector<int>& areaLengths) : items(5 * static_cast<int>(areaLengths.size()))
    {
        Random random(1);
        DvSegment segment(areaLengths);
        for (DvBlock& block : segment.blocks)
            encodeLevels(block);
        for (int i = 0; i < 600; i++) {
            DvBlock& block = segment.blocks[random.uniform<std::size_t>(0, std::ssize(segment.blocks) - 1)];
            const DvBlock before = block;
            block.levels[random.uniform<std::size_t>(1, random.oneIn(2) ? 8 : 40)] = random.uniform(-3, 3);
            encodeLevels(block);
            if (!segment.fits()) {
                block = before;
                break;
            }
        }
        bytes = segment.bytes();
        for (uint32_t i = 0; i < 128; i++)
            scans[i] = i % 64;
    }

    int items; // blocks
    kelvcpx::app::dv::AcTable table;
    std::vector<uint8_t> bytes;
    std::array<uint32_t, 128> scans;
    alignas(64) std::array<int16_t, std::size_t{64} * 40> coefficients;
    std::array<uint32_t, 40> info;
};

void addSegments()
{
    const auto decodeSegment = [](auto decode, Segment& s) {
        s.coefficients.fill(0);
        return decode(s.bytes.data(), s.scans.data(), s.table.get(), s.coefficients.data(), s.info.data());
    };
    add<keliHuffmanDecodeSegment_DV_8u16s>(
        "",
        [] {
            return Segment({14, 14, 14, 14, 10, 10});
        },
        decodeSegment);
    add<keliHuffmanDecodeSegment_DV100_8u16s>(
        "",
        [] {
            return Segment({10, 10, 10, 10, 10, 10, 8, 8});
        },
        decodeSegment);
}

void addTables()
{
    struct Lists {
        kelvcpx::app::dv::CodeLists lists = kelvcpx::app::dv::makeCodeLists();
        uint32_t* table = nullptr;
    };
    add<Lists, keliInitAllocHuffmanTable_DV_32u>("", [](auto build, Lists& l) {
        const Status status = build(l.lists.first.data(), l.lists.second.data(), &l.table);
        keliFreeHuffmanTable_DV_32u(l.table);
        return status;
    });
    add<Lists, keliFreeHuffmanTable_DV_32u>("", [](auto free, Lists& l) {
        keliInitAllocHuffmanTable_DV_32u(l.lists.first.data(), l.lists.second.data(), &l.table);
        return free(l.table);
    });
}

struct Coefficients : FreshBlocks<64> {
    Coefficients() : FreshBlocks(100) {}
    Block factors{1, 2, 3, 4};
    uint32_t count = 0;
};

void addBlocks()
{
    add<Coefficients, keliQuantInv_DV_16s_C1I>(
        "", [](auto dequantise, Coefficients& c) { return dequantise(c.next(), c.factors.data()); });
    add<Coefficients, keliQuantWeightBlockInv_DV_16s_C1I>("", [](auto dequantise, Coefficients& c) {
        return dequantise(c.next(), c.factors.data(), c.factors.data());
    });
    add<Coefficients, keliDCT2x4x8Frw_16s_C1I, keliDCT2x4x8Inv_16s_C1I>(
        "", [](auto transform, Coefficients& c) { return transform(c.next()); });
    add<Coefficients, keliCountZeros8x8_16s_C1>(
        "", [](auto countZeros, Coefficients& c) { return countZeros(c.next(), &c.count); });
}

[[maybe_unused]] const bool registered = (addSegments(), addTables(), addBlocks(), true);

} // namespace
