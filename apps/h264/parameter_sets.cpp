#include "h264/parameter_sets.h"

#include "common/decoder.h"
#include "h264/scan.h"
#include "h264/syntax.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <iterator>
#include <span>

namespace kelvcpx::app::h264 {
namespace {

// Tables 7-3 and 7-4, in raster order.
constexpr std::array<uint8_t, 16> default4x4Intra = {6,  13, 20, 28, 13, 20, 28, 32,
                                                     20, 28, 32, 37, 28, 32, 37, 42};
constexpr std::array<uint8_t, 16> default4x4Inter = {10, 14, 20, 24, 14, 20, 24, 27,
                                                     20, 24, 27, 30, 24, 27, 30, 34};
constexpr std::array<uint8_t, 64> default8x8Intra = {
    6,  10, 13, 16, 18, 23, 25, 27, 10, 11, 16, 18, 23, 25, 27, 29, 13, 16, 18, 23, 25, 27,
    29, 31, 16, 18, 23, 25, 27, 29, 31, 33, 18, 23, 25, 27, 29, 31, 33, 36, 23, 25, 27, 29,
    31, 33, 36, 38, 25, 27, 29, 31, 33, 36, 38, 40, 27, 29, 31, 33, 36, 38, 40, 42};
constexpr std::array<uint8_t, 64> default8x8Inter = {
    9,  13, 15, 17, 19, 21, 22, 24, 13, 13, 17, 19, 21, 22, 24, 25, 15, 17, 19, 21, 22, 24,
    25, 27, 17, 19, 21, 22, 24, 25, 27, 28, 19, 21, 22, 24, 25, 27, 28, 30, 21, 22, 24, 25,
    27, 28, 30, 32, 22, 24, 25, 27, 28, 30, 32, 33, 24, 25, 27, 28, 30, 32, 33, 35};

// Width and height of a sample by aspect_ratio_idc (table E-1); 255 is followed by the two numbers.
constexpr Rational sampleAspects[] = {{0, 1},   {1, 1},    {12, 11}, {10, 11}, {16, 11}, {40, 33},
                                      {24, 11}, {20, 11},  {32, 11}, {80, 33}, {18, 11}, {15, 11},
                                      {64, 33}, {160, 99}, {4, 3},   {3, 2},   {2, 1}};
constexpr int extendedAspect = 255;

// Of a frame at the highest level: MaxFS, and what A.3.1 allows of it in one direction.
constexpr int mostMacroblocks = 139264;
constexpr int longestSide = 1055;

// 7.3.2.1.1.1. The list is coded in zigzag order.
CodedScalingMatrix::Form readScalingList(BitReader& reader, std::span<uint8_t> list,
                                         std::span<const int32_t> scan)
{
    int last = 8;
    int next = 8;
    for (std::size_t i = 0; i < list.size(); i++) {
        if (next != 0) {
            next = (last + readSeWithin(reader, -128, 127) + 256) % 256;
            if (i == 0 && next == 0)
                return CodedScalingMatrix::Form::standard;
        }
        last = next == 0 ? last : next;
        list[static_cast<std::size_t>(scan[i])] = static_cast<uint8_t>(last);
    }
    return CodedScalingMatrix::Form::coded;
}

CodedScalingMatrix readScalingMatrix(BitReader& reader, bool with8x8)
{
    CodedScalingMatrix matrix;
    for (std::size_t i = 0; i < (with8x8 ? 8 : 6); i++) {
        if (!reader.readFlag())
            continue;
        matrix.forms[i] = i < 6 ? readScalingList(reader, matrix.lists.list4x4[i], scan4x4(Scan::frame))
                                : readScalingList(reader, matrix.lists.list8x8[i - 6], scan8x8(Scan::frame));
    }
    return matrix;
}

void skipHrdParameters(BitReader& reader)
{
    const int count = readUeUpTo(reader, 31) + 1;
    reader.skip(8); // bit_rate_scale, cpb_size_scale
    for (int i = 0; i < count; i++) {
        readUe(reader);
        readUe(reader);
        reader.skip(1);
    }
    reader.skip(20); // the lengths of four time values
}

// E.1.1.
void readVui(BitReader& reader, SequenceParameterSet& set)
{
    if (reader.readFlag()) {
        const int aspect = reader.readInt(8);
        if (aspect == extendedAspect) {
            set.sampleAspect.numerator = reader.read(16);
            set.sampleAspect.denominator = std::max<int64_t>(1, reader.read(16));
        } else if (aspect < static_cast<int>(std::size(sampleAspects))) {
            set.sampleAspect = sampleAspects[aspect];
        }
    }
    if (reader.readFlag()) // overscan_info
        reader.skip(1);
    if (reader.readFlag()) { // video_signal_type
        reader.skip(4);
        if (reader.readFlag())
            reader.skip(24);
    }
    if (reader.readFlag()) { // chroma_loc_info
        readUe(reader);
        readUe(reader);
    }
    if (reader.readFlag()) { // timing_info
        const uint32_t unitsInTick = reader.read(32);
        const uint32_t timeScale = reader.read(32);
        reader.skip(1);
        if (unitsInTick != 0)
            set.frameRate = {timeScale, 2 * static_cast<int64_t>(unitsInTick)}; // a tick is a field
    }
    const bool nalHrd = reader.readFlag();
    if (nalHrd)
        skipHrdParameters(reader);
    const bool vclHrd = reader.readFlag();
    if (vclHrd)
        skipHrdParameters(reader);
    if (nalHrd || vclHrd)
        reader.skip(1);      // low_delay_hrd
    reader.skip(1);          // pic_struct_present
    if (reader.readFlag()) { // bitstream_restriction
        reader.skip(1);
        for (int i = 0; i < 4; i++)
            readUe(reader);
        set.numReorderFrames = readUeUpTo(reader, 16);
        set.maxDecFrameBuffering = readUeUpTo(reader, 16);
    }
}

void readHighProfileFields(BitReader& reader, SequenceParameterSet& set)
{
    set.chromaFormatIdc = readUeUpTo(reader, 3);
    if (set.chromaFormatIdc == 3)
        throw UnsupportedStream("the stream is 4:4:4, which is not supported");
    set.bitDepthLuma = 8 + readUeUpTo(reader, 6);
    set.bitDepthChroma = 8 + readUeUpTo(reader, 6);
    set.losslessAtZero = reader.readFlag();
    if (reader.readFlag())
        set.scaling = readScalingMatrix(reader, true);
}

void readPicOrderCountFields(BitReader& reader, SequenceParameterSet& set)
{
    set.pocType = readUeUpTo(reader, 2);
    if (set.pocType == 0) {
        set.log2MaxPocLsb = 4 + readUeUpTo(reader, 12);
    } else if (set.pocType == 1) {
        set.deltaPicOrderAlwaysZero = reader.readFlag();
        set.offsetForNonRefPic = readSe(reader);
        set.offsetForTopToBottomField = readSe(reader);
        set.offsetForRefFrame.resize(static_cast<std::size_t>(readUeUpTo(reader, 255)));
        for (int& offset : set.offsetForRefFrame)
            offset = readSe(reader);
    }
}

// 7.4.2.1.1: the offsets count chroma samples, and rows of a field where there are fields.
void readCropping(BitReader& reader, SequenceParameterSet& set)
{
    const int unitX = set.chromaFormatIdc == 0 ? 1 : 2;
    const int unitY = (set.chromaFormatIdc == 1 ? 2 : 1) * (set.frameMbsOnly ? 1 : 2);
    const int width = 16 * set.widthInMbs;
    const int height = 16 * set.heightInMbs();
    set.cropLeft = unitX * readUeUpTo(reader, width / unitX);
    set.cropRight = unitX * readUeUpTo(reader, width / unitX);
    set.cropTop = unitY * readUeUpTo(reader, height / unitY);
    set.cropBottom = unitY * readUeUpTo(reader, height / unitY);
    if (set.cropLeft + set.cropRight >= width || set.cropTop + set.cropBottom >= height)
        throw DamagedUnit("the cropping leaves nothing of the picture");
}

void readSliceGroups(BitReader& reader, PictureParameterSet& set)
{
    set.sliceGroupMapType = readUeUpTo(reader, 6);
    const auto count = static_cast<std::size_t>(set.sliceGroupCount);
    if (set.sliceGroupMapType == 0) {
        for (std::size_t i = 0; i < count; i++)
            set.runLength[i] = readUeUpTo(reader, 1 << 20) + 1;
    } else if (set.sliceGroupMapType == 2) {
        for (std::size_t i = 0; i + 1 < count; i++) {
            set.topLeft[i] = readUeUpTo(reader, 1 << 20);
            set.bottomRight[i] = readUeUpTo(reader, 1 << 20);
        }
    } else if (set.sliceGroupMapType >= 3 && set.sliceGroupMapType <= 5) {
        set.sliceGroupChangeDirection = reader.readFlag();
        set.sliceGroupChangeRate = readUeUpTo(reader, 1 << 20) + 1;
    } else if (set.sliceGroupMapType == 6) {
        set.sliceGroupId.resize(static_cast<std::size_t>(readUeUpTo(reader, 1 << 20)) + 1);
        const auto bits = static_cast<int>(std::bit_width(static_cast<unsigned>(set.sliceGroupCount - 1)));
        for (uint8_t& id : set.sliceGroupId) {
            id = static_cast<uint8_t>(reader.read(bits));
            if (reader.pastEnd() || id >= set.sliceGroupCount)
                throw DamagedUnit("a slice group is out of range");
        }
    }
}

} // namespace

ScalingLists ScalingLists::flat()
{
    ScalingLists lists;
    for (auto& list : lists.list4x4)
        list.fill(16);
    for (auto& list : lists.list8x8)
        list.fill(16);
    return lists;
}

ScalingLists ScalingLists::defaults()
{
    return {{default4x4Intra, default4x4Intra, default4x4Intra, default4x4Inter, default4x4Inter,
             default4x4Inter},
            {default8x8Intra, default8x8Inter}};
}

ScalingLists CodedScalingMatrix::resolve(const ScalingLists& fallBack) const
{
    const ScalingLists standard = ScalingLists::defaults();
    ScalingLists resolved = lists;
    for (std::size_t i = 0; i < 6; i++) {
        if (forms[i] == Form::standard)
            resolved.list4x4[i] = standard.list4x4[i];
        else if (forms[i] == Form::absent)
            resolved.list4x4[i] = i % 3 == 0 ? fallBack.list4x4[i] : resolved.list4x4[i - 1];
    }
    for (std::size_t i = 0; i < 2; i++) {
        if (forms[6 + i] == Form::standard)
            resolved.list8x8[i] = standard.list8x8[i];
        else if (forms[6 + i] == Form::absent)
            resolved.list8x8[i] = fallBack.list8x8[i];
    }
    return resolved;
}

ScalingLists scalingLists(const SequenceParameterSet& sequence, const PictureParameterSet& picture)
{
    const ScalingLists ofSequence =
        sequence.scaling ? sequence.scaling->resolve(ScalingLists::defaults()) : ScalingLists::flat();
    if (!picture.scaling)
        return ofSequence;
    return picture.scaling->resolve(sequence.scaling ? ofSequence : ScalingLists::defaults());
}

bool SequenceParameterSet::isHighProfile() const
{
    constexpr int profiles[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    return std::find(std::begin(profiles), std::end(profiles), profileIdc) != std::end(profiles);
}

SequenceParameterSet readSequenceParameterSet(const Payload& payload)
{
    BitReader reader = payload.reader();
    SequenceParameterSet set;
    set.profileIdc = reader.readInt(8);
    set.constraintFlags = reader.readInt(8);
    set.levelIdc = reader.readInt(8);
    set.id = readUeUpTo(reader, 31);
    if (set.isHighProfile())
        readHighProfileFields(reader, set);
    set.log2MaxFrameNum = 4 + readUeUpTo(reader, 12);
    readPicOrderCountFields(reader, set);
    set.maxNumRefFrames = readUeUpTo(reader, 16);
    set.gapsInFrameNumAllowed = reader.readFlag();
    set.widthInMbs = readUeUpTo(reader, longestSide - 1) + 1;
    set.heightInMapUnits = readUeUpTo(reader, longestSide - 1) + 1;
    set.frameMbsOnly = reader.readFlag();
    if (set.heightInMbs() > longestSide || set.widthInMbs * set.heightInMbs() > mostMacroblocks)
        throw DamagedUnit(
            fmt::format("no level allows pictures of {}x{} macroblocks", set.widthInMbs, set.heightInMbs()));
    if (!set.frameMbsOnly)
        set.mbAdaptiveFrameField = reader.readFlag();
    set.direct8x8Inference = reader.readFlag();
    if (reader.readFlag())
        readCropping(reader, set);
    if (reader.readFlag())
        readVui(reader, set);
    if (reader.pastEnd())
        throw DamagedUnit("the sequence parameter set is cut off");
    return set;
}

PictureParameterSet readPictureParameterSet(const Payload& payload)
{
    BitReader reader = payload.reader();
    PictureParameterSet set;
    set.id = readUeUpTo(reader, 255);
    set.sequenceId = readUeUpTo(reader, 31);
    set.cabac = reader.readFlag();
    set.picOrderPresent = reader.readFlag();
    set.sliceGroupCount = readUeUpTo(reader, 7) + 1;
    if (set.sliceGroupCount > 1)
        readSliceGroups(reader, set);
    for (int& count : set.defaultRefCount)
        count = readUeUpTo(reader, 31) + 1;
    set.weightedPrediction = reader.readFlag();
    set.weightedBipredIdc = reader.readInt(2);
    set.initialQp = 26 + readSeWithin(reader, -62, 25);
    readSe(reader); // pic_init_qs_minus26
    set.chromaQpOffset.fill(readSeWithin(reader, -12, 12));
    set.deblockingControlPresent = reader.readFlag();
    set.constrainedIntraPrediction = reader.readFlag();
    set.redundantPicCountPresent = reader.readFlag();
    if (reader.position() < payload.stopBit()) {
        set.transform8x8 = reader.readFlag();
        if (reader.readFlag())
            set.scaling = readScalingMatrix(reader, set.transform8x8);
        set.chromaQpOffset[1] = readSeWithin(reader, -12, 12);
    }
    if (reader.pastEnd())
        throw DamagedUnit("the picture parameter set is cut off");
    return set;
}

} // namespace kelvcpx::app::h264
