// Repeatable random inputs, extreme values included.
#pragma once

#include <cstdint>
#include <limits>
#include <random>

namespace kelvcpx::test {

class Random
{
public:
    explicit Random(uint32_t seed) : engine_(seed) {}

    // Evenly spread over low..high, both included.
    template <class T = int32_t>
    T uniform(int64_t low = std::numeric_limits<T>::min(), int64_t high = std::numeric_limits<T>::max())
    {
        return static_cast<T>(std::uniform_int_distribution<int64_t>(low, high)(engine_));
    }

    // One time in four an end of the range, otherwise anything in it.
    template <class T = int32_t>
    T extreme(int64_t low = std::numeric_limits<T>::min(), int64_t high = std::numeric_limits<T>::max())
    {
        const auto pick = uniform<int>(0, 7);
        return pick == 0 ? static_cast<T>(low) : pick == 1 ? static_cast<T>(high) : uniform<T>(low, high);
    }

    bool oneIn(int n) { return uniform<int>(1, n) == 1; }

private:
    std::mt19937 engine_;
};

} // namespace kelvcpx::test
