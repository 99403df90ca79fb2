// The arithmetic decoding engine of CABAC (ITU-T H.264 9.3.1.2, 9.3.3.2).
#pragma once

#include "common/bit_reader.h"
#include "h264/cabac_tables.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::h264 {

// The state of decoding without the context variables. A copy of it on the stack keeps to registers while
// many bins are decoded; bytes that are written, as context variables are, might otherwise be part of it.
class CabacInterval
{
public:
    // Starts at the reader's position, which is at a byte.
    explicit CabacInterval(const BitReader& reader) : reader_(reader), value_(reader_.read(32)) {}

    // A reader behind the last bit that has been used.
    BitReader position() const
    {
        BitReader reader = reader_;
        reader.goBack(spare_);
        return reader;
    }

    // DecodeDecision
    int decision(uint8_t& contextVariable)
    {
        const uint8_t before = contextVariable;
        const CabacState& state = cabacStates[before];
        const uint32_t ofLps = state.rangeOfLps[range_ >> 6 & 3];
        range_ -= ofLps;
        const uint64_t split = uint64_t{range_} << spare_;
        int bin = before & 1;
        int shift;
        if (value_ < split) {
            contextVariable = state.afterMps;
            shift = range_ < 256 ? 1 : 0;
        } else {
            contextVariable = state.afterLps;
            value_ -= split;
            range_ = ofLps;
            bin ^= 1;
            shift = std::countl_zero(ofLps) - (32 - offsetBits);
        }
        range_ <<= shift;
        spare_ -= shift;
        refill();
        return bin;
    }

    // DecodeBypass
    int bypass()
    {
        spare_--;
        const uint64_t split = uint64_t{range_} << spare_;
        const bool bin = value_ >= split;
        if (bin)
            value_ -= split;
        refill();
        return bin ? 1 : 0;
    }

    // DecodeTerminate
    bool terminate()
    {
        range_ -= 2;
        if (value_ >= uint64_t{range_} << spare_)
            return true;
        if (range_ < 256) {
            range_ <<= 1;
            spare_--;
            refill();
        }
        return false;
    }

private:
    static constexpr int offsetBits = 9; // of codIRange and codIOffset

    void refill()
    {
        if (spare_ >= offsetBits)
            return;
        value_ = value_ << 32 | (reader_.pastEnd() ? 0 : reader_.read(32));
        spare_ += 32;
    }

    BitReader reader_;
    uint32_t range_ = 510;
    uint64_t value_;              // codIOffset and, below it, the bits that come next
    int spare_ = 32 - offsetBits; // the number of those bits
};

class CabacEngine
{
public:
    explicit CabacEngine(const BitReader& reader) : interval_(reader) {}

    // 9.3.1.1. initIdc: cabac_init_idc, or -1 for an I slice.
    void initialiseContexts(int initIdc, int sliceQp)
    {
        const CabacInitialValues& values = cabacInitialValues[initIdc + 1];
        for (std::size_t i = 0; i < cabacContextCount; i++) {
            const int before =
                std::clamp((values[i].m * std::clamp(sliceQp, 0, 51) >> 4) + values[i].n, 1, 126);
            states_[i] = static_cast<uint8_t>(before <= 63 ? 2 * (63 - before) : 2 * (before - 64) + 1);
        }
    }

    int decision(std::size_t context) { return interval_.decision(states_[context]); }
    int bypass() { return interval_.bypass(); }
    bool terminate() { return interval_.terminate(); }

    CabacInterval& interval() { return interval_; }
    const CabacInterval& interval() const { return interval_; }
    uint8_t* contextsFrom(std::size_t first) { return states_.data() + first; }

private:
    CabacInterval interval_;
    std::array<uint8_t, cabacContextCount> states_{};
};

} // namespace kelvcpx::app::h264
