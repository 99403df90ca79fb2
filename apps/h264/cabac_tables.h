// Numbers of CABAC (ITU-T H.264 9.3.1.1, 9.3.3.2).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::h264 {

// m and n of 9.3.1.1.
struct CabacInitialValue {
    int8_t m;
    int8_t n;
};

constexpr std::size_t cabacContextCount = 460;
using CabacInitialValues = std::array<CabacInitialValue, cabacContextCount>;

extern const CabacInitialValues cabacInitialValues[4]; // of I slices, and by cabac_init_idc of others

// A state of a context variable, 2 * pStateIdx + valMPS, and what follows it (tables 9-44, 9-45).
struct CabacState {
    std::array<uint8_t, 4> rangeOfLps; // by qCodIRangeIdx
    uint8_t afterMps;
    uint8_t afterLps;
};

extern const std::array<CabacState, 128> cabacStates;

} // namespace kelvcpx::app::h264
