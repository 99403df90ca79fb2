// The headers above the slice: ISO/IEC 13818-2 6.2.2, 6.2.3 and their forms in ISO/IEC 11172-2 2.4.2.
#pragma once

#include "common/bit_reader.h"
#include "common/picture.h"

#include <array>
#include <cstdint>

namespace kelvcpx::app::mpeg2 {

// Start code values (13818-2 table 6-1).
constexpr uint8_t pictureStart = 0x00;
constexpr uint8_t firstSliceStart = 0x01;
constexpr uint8_t lastSliceStart = 0xAF;
constexpr uint8_t userDataStart = 0xB2;
constexpr uint8_t sequenceHeaderStart = 0xB3;
constexpr uint8_t extensionStart = 0xB5;
constexpr uint8_t sequenceEnd = 0xB7;
constexpr uint8_t groupStart = 0xB8;

// Frame rates by frame_rate_code (table 6-4); 0 is forbidden.
constexpr std::array<Rational, 9> frameRates{
    {{0, 1}, {24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1}, {50, 1}, {60000, 1001}, {60, 1}}};

// Width by height of the display, by aspect_ratio_information from 2 on (table 6-3).
constexpr std::array<Rational, 3> displayAspects{{{4, 3}, {16, 9}, {221, 100}}};

// Weights by block index of the library's transposed coefficient layout.
using Matrix = std::array<int16_t, 64>;

struct QuantMatrices {
    // Luma, then chroma, which follows luma unless a 4:2:2 stream says otherwise (6.3.11).
    std::array<Matrix, 2> intra;
    std::array<Matrix, 2> nonIntra;

    QuantMatrices();
};

struct Sequence {
    bool mpeg2 = false; // a sequence extension has been seen
    int width = 0;
    int height = 0;
    int aspectCode = 0;
    Rational frameRate{0, 1};
    int64_t bitRate = 0; // bits a second
    bool variableBitRate = false;
    int profileAndLevel = 0;
    bool progressive = true;
    ChromaFormat chroma = ChromaFormat::yuv420;
    bool lowDelay = false;
    QuantMatrices matrices;

    int macroblocksWide() const { return (width + 15) / 16; }
    // Of a frame: an interlaced sequence has whole macroblocks in each field (6.3.3).
    int macroblocksHigh() const { return progressive ? (height + 15) / 16 : 2 * ((height + 31) / 32); }
    Rational sampleAspect() const;
};

struct Group {
    bool closed = false;
};

enum class PictureType { intra = 1, predicted = 2, bidirectional = 3 };
enum class PictureStructure { topField = 1, bottomField = 2, frame = 3 };

struct Picture {
    int temporalReference = 0;
    PictureType type = PictureType::intra;
    // MPEG-1: vectors may count whole samples.
    std::array<bool, 2> fullSampleVectors{};
    std::array<std::array<int, 2>, 2> fCode{}; // [forward, backward][horizontal, vertical]

    // The picture coding extension, at the values that an MPEG-1 picture has.
    bool extended = false;
    int intraDcPrecision = 0;
    PictureStructure structure = PictureStructure::frame;
    bool topFieldFirst = true;
    bool framePredFrameDct = true;
    bool concealmentVectors = false;
    bool nonLinearScale = false;
    bool intraVlcFormat = false;
    bool alternateScan = false;
    bool progressiveFrame = true;
};

// The parsers read what follows the start code. They throw DamagedUnit for what the standards forbid.
void readSequenceHeader(BitReader& reader, Sequence& sequence);
void readGroupHeader(BitReader& reader, Group& group);
void readPictureHeader(BitReader& reader, Picture& picture);

// Reads the extension at the reader, by its identifier, into what it extends. Throws UnsupportedStream for
// the scalable ones.
void readExtension(BitReader& reader, Sequence& sequence, Picture& picture);

} // namespace kelvcpx::app::mpeg2
