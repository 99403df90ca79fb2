// The bits of block areas, and what they leave over for other blocks.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::dv {

inline uint64_t loadBigEndian(const uint8_t* p)
{
    uint64_t value = 0;
    for (int i = 0; i < 8; i++)
        value = value << 8 | p[i];
    return value;
}

inline void storeBigEndian(uint8_t* p, uint64_t value)
{
    for (int i = 0; i < 8; i++)
        p[i] = static_cast<uint8_t>(value >> (56 - 8 * i));
}

// Unread bits within bytes of which seven more than the bits need may be loaded.
struct BitRange {
    const uint8_t* bytes = nullptr;
    int32_t position = 0; // in bits
    int32_t end = 0;

    int32_t GetAvailableBits() const { return end - position; }

    static constexpr int32_t windowBits = 57;

    // All unread bits, or the first windowBits of them, left-aligned; zeros behind the end.
    uint64_t window() const
    {
        const uint64_t bits = loadBigEndian(bytes + position / 8) << position % 8;
        const int32_t available = GetAvailableBits();
        return available < windowBits ? bits & ~(~uint64_t{0} >> available) : bits;
    }

    // The next n bits, 1..32, of those that are there.
    uint32_t ReadBits(int32_t n) const
    {
        return static_cast<uint32_t>(loadBigEndian(bytes + position / 8) << position % 8 >> (64 - n));
    }

    void DropBits(int32_t n) { position += n; }
};

// Up to 32 bits that a block has to finish with.
struct BitCache {
    uint32_t bits = 0;
    int32_t count = 0;

    void SetCache(uint32_t value, int32_t n)
    {
        bits = value;
        count = n;
    }
};

// Spare bits of several blocks as if they were of one piece.
class BitChain
{
public:
    BitChain() = default;
    BitChain(const BitChain&) = delete;
    BitChain& operator=(const BitChain&) = delete;

    BitRange& unread() { return unread_; }
    void clear() { unread_.position = unread_.end = 8 * lead; }

    void append(BitRange range)
    {
        while (range.GetAvailableBits() > 0) {
            const int32_t n = std::min(range.GetAvailableBits(), 32);
            write(unread_.end, range.ReadBits(n), n);
            unread_.end += n;
            range.DropBits(n);
        }
    }

    // Bits before the position have been read, so there is room.
    void putInFront(const BitCache& cache)
    {
        unread_.position -= cache.count;
        write(unread_.position, cache.bits, cache.count);
    }

private:
    // Sets the bits at..at + n - 1, n below 33.
    void write(int32_t at, uint32_t value, int32_t n)
    {
        if (n == 0)
            return;
        uint8_t* const p = bytes_.data() + at / 8;
        const int32_t shift = 64 - at % 8 - n;
        const uint64_t mask = ((uint64_t{1} << n) - 1) << shift;
        storeBigEndian(p, (loadBigEndian(p) & ~mask) | uint64_t{value} << shift);
    }

    // Were each of the 40 blocks of a segment to put its cache in front, and to read less, it would suffice.
    static constexpr std::size_t lead = 160;
    static constexpr std::size_t segmentBytes = 400;

    std::array<uint8_t, lead + segmentBytes + 8> bytes_{};
    BitRange unread_{bytes_.data(), 8 * lead, 8 * lead};
};

} // namespace kelvcpx::dv
