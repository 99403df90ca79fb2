// What is known of a VOP: its samples and macroblocks, and what it is decoded with.
#pragma once

#include "common/padded_frame.h"
#include "mpeg4/headers.h"

#include <kelvcpx/mpeg4.h>
#include <kelvcpx/mpeg4_motion.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelvcpx::app::mpeg4 {

using Vector = ::MotionVector; // half or quarter samples

// How the luma of a macroblock is predicted from one reference.
enum class MotionKind : uint8_t {
    whole,  // one vector
    blocks, // one for each 8x8 block
    fields, // one for each field
    global, // by warping
};

// What the vectors of other macroblocks are predicted from, and those of B-VOPs too.
struct MacroblockMotion {
    std::array<Vector, 4>
        vectors{}; // by 8x8 block; zero in intra macroblocks, the mean one in fields and GMC
    std::array<Vector, 2> ofFields{}; // with MotionKind::fields, in field rows
    std::array<uint8_t, 2> fields{};  // the parity that the fields are predicted from
    MotionKind kind = MotionKind::whole;
    bool intra = false;
    bool coded = false;  // not_coded was 0
    uint16_t packet = 0; // video packet of the VOP, from 1 on; 0: not there
};

// A VOP as a reference.
struct Frame {
    explicit Frame(const VideoFormat& format, std::size_t macroblocks)
        : picture(format), motion(macroblocks), quants(macroblocks, 1)
    {}

    PaddedFrame picture;
    std::vector<MacroblockMotion> motion; // by address; of B-VOPs nobody needs it
    std::vector<uint8_t> quants;          // by address, 1..31
    VopType type = VopType::intra;
    int64_t time = 0; // of display, in ticks
};

// The times that direct prediction scales vectors by (7.6.9.5.2).
struct Distances {
    int64_t future = 1;  // TRD: from the past to the future reference, above 0
    int64_t current = 1; // TRB: from the past reference to the VOP
};

// A VOP while it is decoded.
struct VopContext {
    VideoObjectLayer layer; // as they are now: headers that come too late change nothing
    Vop vop;
    Frame* target = nullptr;
    const Frame* past = nullptr;   // the forward reference; null in I-VOPs
    const Frame* future = nullptr; // the backward one, of B-VOPs
    Distances frames;
    std::array<std::array<Distances, 2>, 2> fields; // by parity of the field and of the one it refers to
    const WarpSpec* warp = nullptr;                 // of S-VOPs
    const QuantInvSpec* intraQuantiser = nullptr;
    const QuantInvSpec* interQuantiser = nullptr;

    int wide() const { return layer.macroblocksWide(); }
    int high() const { return layer.macroblocksHigh(); }
    int count() const { return layer.macroblockCount(); }
    bool isBidirectional() const { return vop.type == VopType::bidirectional; }
};

// By mcbpc (tables B-6 and B-7).
enum class MacroblockType { inter, interQuant, fourVectors, intra, intraQuant };

constexpr bool isIntra(MacroblockType type)
{
    return type == MacroblockType::intra || type == MacroblockType::intraQuant;
}

constexpr bool changesQuant(MacroblockType type)
{
    return type == MacroblockType::interQuant || type == MacroblockType::intraQuant;
}

// A macroblock as the stream has it.
struct Macroblock {
    int address = 0;
    int column = 0;
    int row = 0;
    bool coded = true; // not_coded was 0
    MacroblockType type = MacroblockType::inter;
    bool intra = false;
    int quant = 0;
    uint32_t pattern = 0; // blocks with coefficients, block 1 in bit 5
    bool fieldDct = false;

    // Intra.
    bool predictsAc = false;
    bool separateDc = false;                // the DC has a code of its own
    std::array<int16_t, 6> dcDifferences{}; // read before the other coefficients

    // Inter: forward and backward motion.
    struct Motion {
        bool used = false;
        std::array<Vector, 4> vectors{}; // [0] with one vector; by field in [0] and [1]
        std::array<uint8_t, 2> fields{};
    };
    MotionKind kind = MotionKind::whole;
    std::array<Motion, 2> motion;

    bool hasBlock(std::size_t i) const { return (pattern >> (5 - i) & 1) != 0; }
};

} // namespace kelvcpx::app::mpeg4
