// H.264: CAVLC blocks and Exp-Golomb codes. The variant is the mean number of coefficients, items are blocks.

#include "operation.h"

#include "h264/cavlc_stream.h"
#include "h264/cavlc_tables.h"
#include "h264/scan.h"

#include <kelvcpx/h264_residual.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace {

using namespace kelvcpx::bench;
using namespace kelvcpx::test;
using kelvcpx::app::h264::CavlcTables;
using kelvcpx::app::h264::cavlcTables;

// A block of `count` coefficients with the slopes of ordinary pictures: low frequencies are more frequent and
// larger.
std::vector<int32_t> scannedBlock(std::mt19937& random, int size, int count)
{
    std::vector<int32_t> block(static_cast<std::size_t>(size), 0);
    std::geometric_distribution<int> place(1.2 / (count + 2));
    std::geometric_distribution<int> magnitude(count > 6 ? 0.3 : 0.6);
    for (int left = count; left > 0;) {
        const auto at = static_cast<std::size_t>(place(random));
        if (at >= block.size() || block[at] != 0)
            continue;
        const int level = 1 + (at < 4 ? magnitude(random) : 0);
        block[at] = random() % 2 != 0 ? level : -level;
        left--;
    }
    return block;
}

// So many codes that the processor cannot learn the stream by heart.
struct Stream {
    static constexpr int items = 100000;

    // decode(&word, &offset, &total) reads one.
    template <class Decode>
    Status read(Decode decode)
    {
        const uint32_t* word = words.data();
        int32_t offset = 31;
        uint16_t total = 0;
        for (int i = 0; i < items; i++) {
            if (const Status status = decode(&word, &offset, &total); status < StatusOk)
                return status;
        }
        return StatusOk;
    }

    std::vector<uint32_t> words;
    int32_t nC = -1;
};

Stream blockStream(BlockKind kind, int size, int meanCount)
{
    std::mt19937 random(1);
    std::poisson_distribution<int> counts(meanCount);
    Stream stream;
    stream.nC = kind != BlockKind::luma ? -1 : meanCount > 8 ? 6 : meanCount > 2 ? 2 : 0;
    BitText text;
    for (int i = 0; i < Stream::items; i++)
        putBlock(text, kind, stream.nC, scannedBlock(random, size, std::min(size, counts(random))));
    stream.words = text.words();
    return stream;
}

// The operation for 16-bit and that for 32-bit coefficients; decode(operation, stream, coefficients).
template <auto operation16, auto operation32, class Decode>
void addBlocks(BlockKind kind, int size, int meanCount, Decode decode)
{
    const auto make = [=] { return blockStream(kind, size, meanCount); };
    const std::string variant = std::to_string(meanCount);
    add<operation16>(variant, make, [=](auto operation, Stream& stream) {
        alignas(64) std::array<int16_t, 16> block{};
        return decode(operation, stream, block.data());
    });
    add<operation32>(variant, make, [=](auto operation, Stream& stream) {
        alignas(64) std::array<int32_t, 16> block{};
        return decode(operation, stream, block.data());
    });
}

void addLuma()
{
    for (const int meanCount : {0, 1, 3, 6, 12})
        addBlocks<keliDecodeCAVLCCoeffs_H264_1u16s, keliDecodeCAVLCCoeffs_H264_1u32s>(
            BlockKind::luma, 16, meanCount, [](auto decode, Stream& stream, auto* block) {
                const CavlcTables& tables = cavlcTables();
                return stream.read([&](auto*... place) {
                    auto* next = block;
                    return decode(place..., &next, stream.nC, 16, tables.coeffToken, tables.totalZeros,
                                  tables.runBefore, kelvcpx::app::h264::scans4x4[0].data());
                });
            });
}

void addChromaDc()
{
    const auto decodeWith = [](auto coeffToken, auto totalZeros) {
        return [=](auto decode, Stream& stream, auto* block) {
            const CavlcTables& tables = cavlcTables();
            return stream.read([&](auto*... place) {
                auto* next = block;
                return decode(place..., &next, tables.*coeffToken, tables.*totalZeros, tables.runBefore);
            });
        };
    };
    addBlocks<keliDecodeCAVLCChromaDcCoeffs_H264_1u16s, keliDecodeCAVLCChromaDcCoeffs_H264_1u32s>(
        BlockKind::chromaDc, 4, 2,
        decodeWith(&CavlcTables::coeffTokenChromaDc, &CavlcTables::totalZerosChromaDc));
    addBlocks<keliDecodeCAVLCChroma422DcCoeffs_H264_1u16s, keliDecodeCAVLCChroma422DcCoeffs_H264_1u32s>(
        BlockKind::chromaDc422, 8, 2,
        decodeWith(&CavlcTables::coeffTokenChromaDc422, &CavlcTables::totalZerosChromaDc422));
}

Stream expGolombStream()
{
    std::mt19937 random(3);
    std::geometric_distribution<uint32_t> values(0.3);
    BitText text;
    for (int i = 0; i < Stream::items; i++) {
        const uint32_t k = values(random) + 1;
        const int zeros = 31 - std::countl_zero(k);
        text.put(0, zeros);
        text.put(k, zeros + 1);
    }
    return {text.words()};
}

void addExpGolomb()
{
    add<keliDecodeExpGolombOne_H264_1u16s>("", expGolombStream, [](auto decode, Stream& stream) {
        int16_t value;
        return stream.read([&](const uint32_t** word, int32_t* offset, uint16_t*) {
            return decode(word, offset, &value, 1);
        });
    });
}

[[maybe_unused]] const bool registered = (addLuma(), addChromaDc(), addExpGolomb(), true);

} // namespace
