// The headers above the macroblock: ISO/IEC 14496-2 6.2.2 to 6.2.5.
#pragma once

#include "common/code_reader.h"
#include "common/picture.h"

#include <array>
#include <cstdint>
#include <optional>

namespace kelvcpx::app::mpeg4 {

// Start code values (table 6-3).
constexpr uint8_t firstVideoObjectLayerStart = 0x20;
constexpr uint8_t lastVideoObjectLayerStart = 0x2F;
constexpr uint8_t visualObjectSequenceStart = 0xB0;
constexpr uint8_t visualObjectSequenceEnd = 0xB1;
constexpr uint8_t groupOfVopStart = 0xB3;
constexpr uint8_t visualObjectStart = 0xB5;
constexpr uint8_t vopStart = 0xB6;

// Of a picture: more than any level has, but little enough to be had.
constexpr int mostSamples = 8192 * 4352;

using Matrix = std::array<uint8_t, 64>; // raster order

// What a VOP header carries for the estimation of complexity, in bits, by the types of VOP that have it.
struct ComplexityBits {
    int all = 0;
    int notIntra = 0;
    int bidirectional = 0;

    bool operator==(const ComplexityBits&) const = default;
};

struct VisualObject {
    int version = 1; // visual_object_verid
    ColourMatrix matrix = ColourMatrix::unspecified;
};

struct VideoObjectLayer {
    int version = 1;
    bool isSimple = false; // of the Simple profile: without B-VOPs
    Rational sampleAspect{0, 1};
    std::optional<bool> lowDelay;
    int timeIncrementResolution = 0; // ticks a second
    int fixedTimeIncrement = 0;      // ticks between VOPs; 0 if that varies
    int width = 0;
    int height = 0;
    bool interlaced = false;
    bool globalMotion = false; // S-VOPs predict by warping
    int warpingPoints = 0;
    int warpingAccuracy = 0;
    bool weightedQuantisation = false; // the first method of 7.4.4
    Matrix intraMatrix{};
    Matrix interMatrix{};
    bool quarterSample = false;
    ComplexityBits complexity;
    bool hasResyncMarkers = false;
    bool dataPartitioned = false;
    bool reversibleCodes = false;

    bool operator==(const VideoObjectLayer&) const = default;

    int macroblocksWide() const { return (width + 15) / 16; }
    int macroblocksHigh() const { return (height + 15) / 16; }
    int macroblockCount() const { return macroblocksWide() * macroblocksHigh(); }
    int timeIncrementBits() const;
    int macroblockNumberBits() const;
    Rational frameRate() const
    {
        return {fixedTimeIncrement > 0 ? timeIncrementResolution : 0, std::max(1, fixedTimeIncrement)};
    }
};

enum class VopType { intra, predicted, bidirectional, sprite };

// The displacement of a warping point, in half samples.
struct WarpingPoints {
    std::array<int32_t, 4> du{};
    std::array<int32_t, 4> dv{};
};

struct Vop {
    VopType type = VopType::intra;
    int seconds = 0;   // modulo_time_base
    int increment = 0; // vop_time_increment
    bool coded = true;
    int rounding = 0;
    int intraDcThreshold = 0; // from this running quantiser on the intra DC is coded like other coefficients
    bool topFieldFirst = false;
    bool alternateVerticalScan = false;
    WarpingPoints warping;
    int quant = 0;
    std::array<int, 2> fcode{1, 1}; // forward, backward

    // 16 zeros and more before the one of a resync marker (6.3.5.2).
    int resyncZeros() const;
};

// The parsers read what follows the start code. They throw DamagedUnit for what the standard forbids, and
// UnsupportedStream for tools beyond the Simple and the Advanced Simple profile.
VisualObject readVisualObject(CodeReader& reader);
VideoObjectLayer readVideoObjectLayer(CodeReader& reader, const VisualObject& object);
int readGroupTime(CodeReader& reader); // time_code, in seconds
Vop readVop(CodeReader& reader, const VideoObjectLayer& layer);

// A header of a video packet, behind the resync marker (6.2.5.2).
struct PacketHeader {
    int macroblockNumber;
    int quant;
};
PacketHeader readPacketHeader(CodeReader& reader, const VideoObjectLayer& layer, const Vop& vop);

} // namespace kelvcpx::app::mpeg4
