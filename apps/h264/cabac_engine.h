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

class CabacEngine
{
public:
    explicit CabacEngine(const BitReader& reader) : reader_(reader) {}

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

    // Starts at the reader's position, which is at a byte.
    void start(const BitReader& reader)
    {
        reader_ = reader;
        range_ = 510;
        value_ = reader_.read(32);
        spare_ = 32 - offsetBits;
    }

    // A reader behind the last bit that the engine has used.
    BitReader stop() const
    {
        BitReader reader = reader_;
        reader.goBack(spare_);
        return reader;
    }

    bool isPastEnd() const { return stop().pastEnd(); }

    // DecodeDecision
    int decision(std::size_t context)
    {
        const uint8_t before = states_[context];
        const CabacState& state = cabacStates[before];
        const uint32_t ofLps = state.rangeOfLps[range_ >> 6 & 3];
        range_ -= ofLps;
        const uint64_t split = uint64_t{range_} << spare_;
        int bin = before & 1;
        int shift;
        if (value_ < split) {
            states_[context] = state.afterMps;
            shift = range_ < 256 ? 1 : 0;
        } else {
            value_ -= split;
            range_ = ofLps;
            bin ^= 1;
            states_[context] = state.afterLps;
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
    std::array<uint8_t, cabacContextCount> states_{};
    uint32_t range_ = 0;
    uint64_t value_ = 0; // codIOffset and, below it, the bits that come next
    int spare_ = 0;      // the number of those bits
};

} // namespace kelvcpx::app::h264
