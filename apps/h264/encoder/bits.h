// Exp-Golomb codes (ITU-T H.264 9.1), for a BitWriter or for anything else that has a put(value, n), and how
// long they are.
#pragma once

#include <bit>
#include <cstdint>

namespace kelvcpx::app::h264::encoder {

// Takes the place of a BitWriter where only the number of bits matters.
class BitCounter
{
public:
    void put(int64_t, int n) { bits_ += n; }

    int bits() const { return bits_; }

private:
    int bits_ = 0;
};

constexpr int ueBits(uint32_t value)
{
    return 2 * static_cast<int>(std::bit_width(value + 1)) - 1;
}

constexpr uint32_t codeNumOfSe(int32_t value)
{
    return static_cast<uint32_t>(value > 0 ? 2 * value - 1 : -2 * value);
}

constexpr int seBits(int32_t value)
{
    return ueBits(codeNumOfSe(value));
}

template <class Sink>
void putUe(Sink& sink, uint32_t value)
{
    const int length = static_cast<int>(std::bit_width(value + 1));
    sink.put(0, length - 1);
    sink.put(value + 1, length);
}

template <class Sink>
void putSe(Sink& sink, int32_t value)
{
    putUe(sink, codeNumOfSe(value));
}

} // namespace kelvcpx::app::h264::encoder
