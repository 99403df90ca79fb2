// How many pictures are done, and how fast.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace kelvcpx::app {

class Progress
{
public:
    void count() { pictures_++; }
    int64_t pictures() const { return pictures_; }

    std::string summary() const; // "25 pictures in 0.10 s, 250.0 a second"

private:
    using Clock = std::chrono::steady_clock;

    const Clock::time_point start_ = Clock::now();
    int64_t pictures_ = 0;
};

} // namespace kelvcpx::app
