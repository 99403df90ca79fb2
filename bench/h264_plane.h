// A plane of an H.264 picture before deblocking.
#pragma once

#include "operation.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>

namespace kelvcpx::bench {

// Rows as far apart as in a plane of 1080p with its margins.
constexpr int32_t planeStep = 1920 + 2 * 32;

constexpr int32_t bitDepth = 10; // of 16-bit samples

// Samples that differ little from their neighbours and more from one 4x4 block to the next.
template <class T>
class Plane
{
public:
    Plane()
    {
        std::mt19937 random(1);
        for (std::size_t i = 0; i < samples_.size(); i++) {
            const auto x = i % planeStep;
            const auto y = i / planeStep;
            samples_[i] = static_cast<T>(100 + (x / 4 * 7 + y / 4 * 5) % 9 + random() % 4);
        }
    }

    // References, at any address, and the aligned destination, in turn those of many macroblocks: next()
    // moves on.
    const T* first() const { return &samples_[std::size_t{4} * planeStep + offset() + 11]; }
    const T* second() const { return &samples_[std::size_t{6} * planeStep + offset() + 18]; }
    T* destination() { return &samples_[std::size_t{40} * planeStep + offset()]; }
    void next() { macroblock_ = (macroblock_ + 1) % macroblocks; }

private:
    static constexpr std::size_t macroblocks = 64; // side by side

    std::size_t offset() const { return 32 + 16 * macroblock_; }

    alignas(64) std::array<T, std::size_t{64} * planeStep> samples_;
    std::size_t macroblock_ = 0;
};

// call(operation, plane) for one macroblock after the other.
template <class T, auto... operations, class Call>
void addOnPlane(const std::string& variant, Call call)
{
    add<Plane<T>, operations...>(variant, [=](auto operation, Plane<T>& plane) {
        plane.next();
        return call(operation, plane);
    });
}

} // namespace kelvcpx::bench
