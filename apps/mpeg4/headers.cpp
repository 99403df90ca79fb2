#include "mpeg4/headers.h"

#include "common/decoder.h"
#include "mpeg4/code_tables.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

namespace kelvcpx::app::mpeg4 {
namespace {

// Width by height of a sample, by aspect_ratio_info (table 6-12).
constexpr Rational sampleAspects[] = {{0, 1}, {1, 1}, {12, 11}, {10, 11}, {16, 11}, {40, 33}};
constexpr int extendedAspect = 15;

constexpr int simpleObjectType = 1;
constexpr int fineGranularityObjectType = 18;

int bitsFor(int largest)
{
    return std::max(1, static_cast<int>(std::bit_width(static_cast<unsigned>(largest))));
}

// A field and the marker behind it.
void skipMarked(CodeReader& reader, int bits)
{
    reader.skip(bits);
    reader.expectMarker();
}

Rational readSampleAspect(CodeReader& reader)
{
    const std::size_t code = reader.read(4);
    if (code == extendedAspect) {
        const int width = reader.readInt(8);
        return {width, std::max(1, reader.readInt(8))};
    }
    return code < std::size(sampleAspects) ? sampleAspects[code] : Rational{0, 1};
}

// vol_control_parameters.
void readControl(CodeReader& reader, VideoObjectLayer& layer)
{
    if (reader.read(2) != 1)
        throw DamagedUnit("the chroma format is reserved");
    layer.lowDelay = reader.readFlag();
    if (!reader.readFlag())
        return;
    skipMarked(reader, 15); // bit rate
    skipMarked(reader, 15);
    skipMarked(reader, 15); // size of the buffer
    skipMarked(reader, 14); // the rest of it, and its occupancy
    skipMarked(reader, 15);
}

void readTime(CodeReader& reader, VideoObjectLayer& layer)
{
    reader.expectMarker();
    layer.timeIncrementResolution = reader.readInt(16);
    if (layer.timeIncrementResolution == 0)
        throw DamagedUnit("the resolution of time is zero");
    reader.expectMarker();
    if (reader.readFlag())
        layer.fixedTimeIncrement = reader.readInt(layer.timeIncrementBits());
}

void readSize(CodeReader& reader, VideoObjectLayer& layer)
{
    reader.expectMarker();
    layer.width = reader.readInt(13);
    reader.expectMarker();
    layer.height = reader.readInt(13);
    reader.expectMarker();
    if (layer.width == 0 || layer.height == 0)
        throw DamagedUnit("the picture size is zero");
    if (layer.width * layer.height > mostSamples)
        throw DamagedUnit(fmt::format("pictures of {}x{} are too large", layer.width, layer.height));
}

void readSprite(CodeReader& reader, VideoObjectLayer& layer)
{
    constexpr uint32_t staticSprite = 1;
    constexpr uint32_t globalMotion = 2;
    const uint32_t enable = reader.read(layer.version == 1 ? 1 : 2);
    if (enable == staticSprite)
        throw UnsupportedStream("the stream has static sprites, which are not supported");
    if (enable == 0)
        return;
    if (enable != globalMotion)
        throw DamagedUnit("the kind of sprite is reserved");
    layer.globalMotion = true;
    layer.warpingPoints = reader.readInt(6);
    layer.warpingAccuracy = reader.readInt(2);
    if (layer.warpingPoints > 3)
        throw DamagedUnit("there are too many warping points");
    if (reader.readFlag())
        throw DamagedUnit("global motion does not change the brightness");
}

// In zigzag order; a zero ends it, and the last weight is that of all others (6.3.3).
Matrix readMatrix(CodeReader& reader)
{
    Matrix matrix;
    uint8_t weight = 0;
    bool isComplete = false;
    for (const uint8_t index : zigzagScan) {
        const auto next = static_cast<uint8_t>(isComplete ? 0 : reader.read(8));
        isComplete = next == 0;
        weight = isComplete ? weight : next;
        if (weight == 0)
            throw DamagedUnit("a quantiser matrix begins with a zero");
        matrix[index] = weight;
    }
    return matrix;
}

void readQuantisation(CodeReader& reader, VideoObjectLayer& layer)
{
    if (reader.readFlag())
        throw UnsupportedStream("the stream has not 8 bits a sample, which is not supported");
    layer.weightedQuantisation = reader.readFlag();
    if (!layer.weightedQuantisation)
        return;
    layer.intraMatrix = reader.readFlag() ? readMatrix(reader) : defaultIntraMatrix;
    layer.interMatrix = reader.readFlag() ? readMatrix(reader) : defaultInterMatrix;
}

// define_vop_complexity_estimation_header(): which numbers every VOP header carries.
ComplexityBits readComplexity(CodeReader& reader)
{
    ComplexityBits bits;
    const auto count = [&](std::initializer_list<int*> groups, int width = 8) {
        for (int* const group : groups)
            *group += reader.readFlag() ? width : 0;
    };
    int& all = bits.all;
    int& notIntra = bits.notIntra;
    const uint32_t method = reader.read(2);
    if (method > 1)
        throw DamagedUnit("the method of complexity estimation is reserved");
    if (!reader.readFlag()) // shape
        count({&all, &all, &all, &all, &all, &all});
    if (!reader.readFlag()) // macroblocks
        count({&all, &notIntra, &notIntra, &all});
    reader.expectMarker();
    if (!reader.readFlag()) { // coefficients
        count({&all, &all, &all});
        count({&all}, 4);
    }
    if (!reader.readFlag()) // motion compensation
        count({&notIntra, &notIntra, &bits.bidirectional, &notIntra, &notIntra, &notIntra});
    reader.expectMarker();
    if (method == 1 && !reader.readFlag())
        count({&all, &notIntra});
    return bits;
}

void readTools(CodeReader& reader, VideoObjectLayer& layer)
{
    layer.interlaced = reader.readFlag();
    if (!reader.readFlag())
        throw UnsupportedStream("the stream has overlapped motion compensation, which is not supported");
    readSprite(reader, layer);
    readQuantisation(reader, layer);
    if (layer.version != 1)
        layer.quarterSample = reader.readFlag();
    if (!reader.readFlag())
        layer.complexity = readComplexity(reader);
    layer.hasResyncMarkers = !reader.readFlag();
    layer.dataPartitioned = reader.readFlag();
    layer.reversibleCodes = layer.dataPartitioned && reader.readFlag();
    if (layer.version != 1) {
        if (reader.readFlag())
            throw UnsupportedStream("the stream has NEWPRED, which is not supported");
        if (reader.readFlag())
            throw UnsupportedStream("the stream has VOPs of reduced resolution, which is not supported");
    }
    if (reader.readFlag())
        throw UnsupportedStream("the stream is scalable, which is not supported");
}

int readModuloTime(CodeReader& reader)
{
    int seconds = 0;
    while (reader.readFlag()) {
        seconds++;
        if (reader.pastEnd())
            throw DamagedUnit("the time of a VOP is cut off");
    }
    return seconds;
}

// sprite_trajectory().
WarpingPoints readTrajectory(CodeReader& reader, int points)
{
    const auto readDisplacement = [&] {
        const int length = reader.decode(codeTables().displacementLength);
        const int bits = length == 0 ? 0 : reader.readInt(length);
        reader.expectMarker();
        const bool positive = length == 0 || bits >> (length - 1) != 0;
        return positive ? bits : bits - (1 << length) + 1;
    };
    WarpingPoints warping;
    for (std::size_t i = 0; i < static_cast<std::size_t>(points); i++) {
        warping.du[i] = readDisplacement();
        warping.dv[i] = readDisplacement();
    }
    return warping;
}

// The running quantiser by intra_dc_vlc_thr (table 6-21); the quantiser never gets beyond 31.
constexpr int intraDcThresholds[] = {32, 13, 15, 17, 19, 21, 23, 0};

int readFcode(CodeReader& reader)
{
    const int code = reader.readInt(3);
    if (code == 0)
        throw DamagedUnit("a range of motion vectors is zero");
    return code;
}

int readQuant(CodeReader& reader)
{
    const int quant = reader.readInt(5);
    if (quant == 0)
        throw DamagedUnit("a quantiser is zero");
    return quant;
}

} // namespace

int VideoObjectLayer::timeIncrementBits() const
{
    return bitsFor(timeIncrementResolution - 1);
}

int VideoObjectLayer::macroblockNumberBits() const
{
    return bitsFor(macroblockCount() - 1);
}

int Vop::resyncZeros() const
{
    switch (type) {
    case VopType::intra:
        return 16;
    case VopType::bidirectional:
        return std::max({15 + fcode[0], 15 + fcode[1], 17});
    default:
        return 15 + fcode[0];
    }
}

VisualObject readVisualObject(CodeReader& reader)
{
    constexpr uint32_t videoType = 1;
    VisualObject object;
    if (reader.readFlag()) {
        object.version = reader.readInt(4);
        reader.skip(3); // visual_object_priority
    }
    if (reader.read(4) != videoType)
        throw UnsupportedStream("the stream has a visual object that is not video");
    if (!reader.readFlag())
        return object;
    reader.skip(4); // video_format, video_range
    if (reader.readFlag()) {
        reader.skip(16); // colour_primaries, transfer_characteristics
        const uint32_t matrix = reader.read(8);
        object.matrix = matrix == 1                  ? ColourMatrix::bt709
                        : matrix == 5 || matrix == 6 ? ColourMatrix::bt601
                                                     : ColourMatrix::unspecified;
    }
    return object;
}

VideoObjectLayer readVideoObjectLayer(CodeReader& reader, const VisualObject& object)
{
    VideoObjectLayer layer;
    layer.version = object.version;
    reader.skip(1); // random_accessible_vol
    const int type = reader.readInt(8);
    if (type == fineGranularityObjectType)
        throw UnsupportedStream("the stream has fine granularity scalability, which is not supported");
    layer.isSimple = type == simpleObjectType;
    if (reader.readFlag()) {
        layer.version = reader.readInt(4);
        reader.skip(3); // video_object_layer_priority
    }
    layer.sampleAspect = readSampleAspect(reader);
    if (reader.readFlag())
        readControl(reader, layer);
    if (reader.read(2) != 0)
        throw UnsupportedStream("the stream has objects of arbitrary shape, which are not supported");
    readTime(reader, layer);
    readSize(reader, layer);
    readTools(reader, layer);
    if (reader.pastEnd())
        throw DamagedUnit("the header of a video object layer is cut off");
    return layer;
}

int readGroupTime(CodeReader& reader)
{
    const int hours = reader.readInt(5);
    const int minutes = reader.readInt(6);
    reader.expectMarker();
    return (60 * hours + minutes) * 60 + reader.readInt(6);
}

Vop readVop(CodeReader& reader, const VideoObjectLayer& layer)
{
    Vop vop;
    vop.type = static_cast<VopType>(reader.read(2));
    vop.seconds = readModuloTime(reader);
    reader.expectMarker();
    vop.increment = reader.readInt(layer.timeIncrementBits());
    reader.expectMarker();
    vop.coded = reader.readFlag();
    if (!vop.coded)
        return vop;
    if (vop.type == VopType::sprite && !layer.globalMotion)
        throw DamagedUnit("an S-VOP in a stream without sprites");
    if (vop.type == VopType::predicted || vop.type == VopType::sprite)
        vop.rounding = reader.readInt(1);
    reader.skip(layer.complexity.all);
    if (vop.type != VopType::intra)
        reader.skip(layer.complexity.notIntra);
    if (vop.type == VopType::bidirectional)
        reader.skip(layer.complexity.bidirectional);
    vop.intraDcThreshold = intraDcThresholds[reader.read(3)];
    if (layer.interlaced) {
        vop.topFieldFirst = reader.readFlag();
        vop.alternateVerticalScan = reader.readFlag();
    }
    if (vop.type == VopType::sprite)
        vop.warping = readTrajectory(reader, layer.warpingPoints);
    vop.quant = readQuant(reader);
    if (vop.type != VopType::intra)
        vop.fcode[0] = readFcode(reader);
    if (vop.type == VopType::bidirectional)
        vop.fcode[1] = readFcode(reader);
    if (reader.pastEnd())
        throw DamagedUnit("a VOP header is cut off");
    return vop;
}

PacketHeader readPacketHeader(CodeReader& reader, const VideoObjectLayer& layer, const Vop& vop)
{
    PacketHeader header{};
    header.macroblockNumber = reader.readInt(layer.macroblockNumberBits());
    header.quant = readQuant(reader);
    if (reader.readFlag()) { // what the VOP header says too
        readModuloTime(reader);
        reader.expectMarker();
        reader.skip(layer.timeIncrementBits());
        reader.expectMarker();
        if (static_cast<VopType>(reader.read(2)) != vop.type)
            throw DamagedUnit("a video packet is not of its VOP's type");
        reader.skip(3); // intra_dc_vlc_thr
        if (vop.type == VopType::sprite)
            readTrajectory(reader, layer.warpingPoints);
        if (vop.type != VopType::intra)
            reader.skip(3);
        if (vop.type == VopType::bidirectional)
            reader.skip(3);
    }
    return header;
}

} // namespace kelvcpx::app::mpeg4
