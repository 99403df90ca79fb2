// What the operations on predicted blocks are given: blocks with their row steps, and mcType.
#pragma once

#include "block/half_sample.h"

#include <cstddef>
#include <cstdint>

namespace kelvcpx {

// The first element of a block and the distance in bytes between its rows.
template <class T>
struct Block {
    T* data;
    std::ptrdiff_t step;
};

using SampleBlock = Block<const uint8_t>;

constexpr int32_t halfRight = 8; // bits of mcType
constexpr int32_t halfDown = 4;

constexpr Position positionOf(std::size_t mcType)
{
    return static_cast<Position>(((mcType & halfRight) != 0 ? 1 : 0) | ((mcType & halfDown) != 0 ? 2 : 0));
}

// The two bits of mcType that count, as a number from 0 to 3.
constexpr std::size_t quarter(int32_t mcType)
{
    return static_cast<std::size_t>((mcType & (halfRight | halfDown)) / 4);
}

// The references of a bidirectional prediction, each with its mcType.
struct ReferencePair {
    SampleBlock forward;
    int32_t mcTypeF;
    SampleBlock backward;
    int32_t mcTypeB;

    // Index of tables of 16 by mcTypeF / 4 + mcTypeB.
    std::size_t entry() const { return quarter(mcTypeF) + quarter(mcTypeB) * 4; }
};

} // namespace kelvcpx
