// Blocks of coefficients and levels, and streams of their codes.
#pragma once

#include "operation.h"

#include <kelvcpx/mpeg2_encode.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

namespace kelvcpx::bench {

using Block = std::array<int16_t, 64>;

// A block in raster order with so many levels that are not 0, mostly small and near the start of the zigzag
// scan.
inline Block levelBlock(std::mt19937& random, int levels)
{
    Block scanned{};
    scanned[0] = 5;
    for (int placed = 1; placed < levels;) {
        int16_t& level = scanned[random() % static_cast<std::size_t>(levels + levels / 2)];
        if (level != 0)
            continue;
        const int magnitude = random() % 4 != 0 ? 1 : 1 + static_cast<int>(random() % 5);
        level = static_cast<int16_t>(random() % 2 == 0 ? magnitude : -magnitude);
        placed++;
    }
    Block block;
    keliScanInv_16s_C1(scanned.data(), block.data(), 63, 0);
    return block;
}

inline std::vector<Block> levelBlocks(int levels, std::size_t count)
{
    std::mt19937 random(1);
    std::vector<Block> blocks(count);
    for (Block& block : blocks)
        block = levelBlock(random, levels);
    return blocks;
}

// Blocks that are changed in place: next() is a fresh copy of one by turns. There are so many that the
// processor cannot learn them by heart.
template <std::size_t size>
struct FreshBlocks {
    using Values = std::array<int16_t, size>;
    static constexpr std::size_t count = 65536 / size;

    // Values round 0, smaller with the frequency if there are 64.
    explicit FreshBlocks(double deviation)
    {
        std::mt19937 random(1);
        std::normal_distribution<double> values(0, deviation);
        for (Values& source : sources)
            for (std::size_t i = 0; i < size; i++)
                source[i] = static_cast<int16_t>(values(random) /
                                                 static_cast<double>(size == 64 ? 1 + i / 8 + i % 8 : 1));
    }
    explicit FreshBlocks(std::vector<Values> blocks) : sources(std::move(blocks)) {}

    int16_t* next()
    {
        turn = (turn + 1) % sources.size();
        block = sources[turn];
        return block.data();
    }

    std::vector<Values> sources = std::vector<Values>(count);
    alignas(64) Values block;
    std::size_t turn = 0;
};

// 200 blocks as codes of a byte stream.
struct ByteStream {
    static constexpr int items = 200;

    explicit ByteStream(int levels) : blocks(levelBlocks(levels, items))
    {
        // What comes before the first block, seen from behind: the end of another one.
        bytes[margin] = 0b10110 << 3;
    }

    // encode(block, &byte, &offset) writes one.
    template <class Encode>
    Status write(Encode encode)
    {
        uint8_t* byte = bytes.data() + margin;
        int32_t offset = firstBit;
        for (const Block& block : blocks)
            if (const Status status = encode(block.data(), &byte, &offset); status < StatusOk)
                return status;
        end = byte;
        endOffset = offset;
        return StatusOk;
    }

    // decode(&byte, &offset, block, &last) reads one, from the first to the last or the other way.
    template <class Decode>
    Status read(Decode decode, bool backward = false)
    {
        const uint8_t* byte = backward ? end : bytes.data() + margin;
        int32_t offset = backward ? endOffset : firstBit;
        for (int i = 0; i < items; i++) {
            if (const Status status = decode(&byte, &offset, block.data(), &last); status < StatusOk)
                return status;
        }
        return StatusOk;
    }

    static constexpr int margin = 8; // as reading backward needs it
    static constexpr int32_t firstBit = 5;

    std::vector<Block> blocks;
    std::vector<uint8_t> bytes = std::vector<uint8_t>(std::size_t{256} * items);
    const uint8_t* end = nullptr;
    int32_t endOffset = 0;
    alignas(64) Block block{};
    int32_t last = 0;
};

// The stream that encode(block, &byte, &offset, levels) writes.
template <class Encode>
auto streamOf(int levels, Encode encode)
{
    return [=] {
        ByteStream stream(levels);
        stream.write([&](auto... place) { return encode(place..., levels); });
        return stream;
    };
}

// An operation that reads a block of the stream that `encode` writes; `rest` are its arguments behind the
// block.
template <auto operation, class Encode, class... Rest>
void addDecoder(const std::string& variant, int levels, Encode encode, Rest... rest)
{
    add<operation>(variant, streamOf(levels, encode), [=](auto decode, ByteStream& stream) {
        return stream.read([&](auto... place) { return decode(place..., rest...); });
    });
}

// An operation that writes a block; `rest` are its arguments behind the number of levels.
template <auto operation, class... Rest>
void addEncoder(const std::string& variant, int levels, Rest... rest)
{
    add<operation>(
        variant, [=] { return ByteStream(levels); },
        [=](auto encode, ByteStream& stream) {
            return stream.write([&](auto... place) { return encode(place..., levels, rest...); });
        });
}

// A pair of operations for DC coefficients; `rest` are their arguments behind the others.
template <auto encodeDc, auto decodeDc, class... Rest>
void addDc(Rest... rest)
{
    const auto write = [=](const int16_t* block, uint8_t** byte, int32_t* offset, int32_t = 0) {
        return encodeDc(static_cast<int16_t>(10 + 8 * block[1] + block[8]), byte, offset, rest...);
    };
    add<encodeDc>(
        "", [] { return ByteStream(20); }, [=](auto, ByteStream& stream) { return stream.write(write); });
    add<decodeDc>("", streamOf(20, write), [=](auto decode, ByteStream& stream) {
        return stream.read([&](const uint8_t** byte, int32_t* offset, int16_t* block, int32_t*) {
            return decode(byte, offset, block, rest...);
        });
    });
}

} // namespace kelvcpx::bench
