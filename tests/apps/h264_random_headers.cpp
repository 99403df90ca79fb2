#include "apps/h264_random_headers.h"

#include "apps/h264_random_syntax.h"

#include "h264/scan.h"

#include <bit>
#include <cmath>

namespace kelvcpx::test {

using namespace app::h264;

namespace {

template <std::size_t size>
void putScalingList(BitWriter& bits, const std::array<uint8_t, size>& list,
                    const std::array<int32_t, size>& scan)
{
    int last = 8;
    for (const int32_t position : scan) {
        const int weight = list[static_cast<std::size_t>(position)];
        int delta = weight - last;
        delta += delta < -128 ? 256 : delta > 127 ? -256 : 0;
        putSe(bits, delta);
        last = weight;
    }
}

void putScalingMatrix(BitWriter& bits, const CodedScalingMatrix& matrix, bool with8x8)
{
    for (std::size_t i = 0; i < (with8x8 ? 8 : 6); i++) {
        const CodedScalingMatrix::Form form = matrix.forms[i];
        bits.put(form != CodedScalingMatrix::Form::absent, 1);
        if (form == CodedScalingMatrix::Form::standard)
            putSe(bits, -8);
        else if (form == CodedScalingMatrix::Form::coded && i < 6)
            putScalingList(bits, matrix.lists.list4x4[i], scan4x4(Scan::frame));
        else if (form == CodedScalingMatrix::Form::coded)
            putScalingList(bits, matrix.lists.list8x8[i - 6], scan8x8(Scan::frame));
    }
}

void putPicOrderCount(BitWriter& bits, const SequenceParameterSet& set)
{
    putUe(bits, static_cast<uint32_t>(set.pocType));
    if (set.pocType == 0) {
        putUe(bits, static_cast<uint32_t>(set.log2MaxPocLsb - 4));
    } else if (set.pocType == 1) {
        bits.put(set.deltaPicOrderAlwaysZero, 1);
        putSe(bits, set.offsetForNonRefPic);
        putSe(bits, set.offsetForTopToBottomField);
        putUe(bits, static_cast<uint32_t>(set.offsetForRefFrame.size()));
        for (const int offset : set.offsetForRefFrame)
            putSe(bits, offset);
    }
}

// Nothing but what decides the output order.
void putVui(BitWriter& bits, const SequenceParameterSet& set)
{
    bits.put(0, 8); // up to pic_struct_present_flag
    bits.put(1, 1);
    bits.put(1, 1); // motion_vectors_over_pic_boundaries_flag
    putUe(bits, 0);
    putUe(bits, 0);
    putUe(bits, 13);
    putUe(bits, 13);
    putUe(bits, static_cast<uint32_t>(*set.numReorderFrames));
    putUe(bits, static_cast<uint32_t>(*set.maxDecFrameBuffering));
}

void putSliceGroups(BitWriter& bits, const PictureParameterSet& set)
{
    putUe(bits, static_cast<uint32_t>(set.sliceGroupCount - 1));
    if (set.sliceGroupCount == 1)
        return;
    const auto groups = static_cast<std::size_t>(set.sliceGroupCount);
    putUe(bits, static_cast<uint32_t>(set.sliceGroupMapType));
    if (set.sliceGroupMapType == 0) {
        for (std::size_t i = 0; i < groups; i++)
            putUe(bits, static_cast<uint32_t>(set.runLength[i] - 1));
    } else if (set.sliceGroupMapType == 2) {
        for (std::size_t i = 0; i + 1 < groups; i++) {
            putUe(bits, static_cast<uint32_t>(set.topLeft[i]));
            putUe(bits, static_cast<uint32_t>(set.bottomRight[i]));
        }
    } else if (set.sliceGroupMapType >= 3 && set.sliceGroupMapType <= 5) {
        bits.put(set.sliceGroupChangeDirection, 1);
        putUe(bits, static_cast<uint32_t>(set.sliceGroupChangeRate - 1));
    } else if (set.sliceGroupMapType == 6) {
        putUe(bits, static_cast<uint32_t>(set.sliceGroupId.size() - 1));
        for (const uint8_t id : set.sliceGroupId)
            bits.put(id, static_cast<int>(std::bit_width(static_cast<unsigned>(set.sliceGroupCount - 1))));
    }
}

void putModifications(BitWriter& bits, const SliceHeader& header)
{
    for (std::size_t list = 0; list < (header.isIntra() ? 0 : header.isB() ? 2 : 1); list++) {
        bits.put(!header.modifications[list].empty(), 1);
        for (const ListModification& modification : header.modifications[list]) {
            putUe(bits, static_cast<uint32_t>(modification.idc));
            putUe(bits, modification.value);
        }
        if (!header.modifications[list].empty())
            putUe(bits, 3);
    }
}

void putWeights(BitWriter& bits, const SliceHeader& header, bool monochrome)
{
    putUe(bits, static_cast<uint32_t>(header.log2WeightDenominator[0]));
    if (!monochrome)
        putUe(bits, static_cast<uint32_t>(header.log2WeightDenominator[1]));
    for (std::size_t list = 0; list < (header.isB() ? 2 : 1); list++) {
        for (const PredictionWeight& entry : header.weights[list]) {
            const auto isDefault = [&](std::size_t c) {
                return entry.weight[c] == 1 << header.log2WeightDenominator[c > 0 ? 1 : 0] &&
                       entry.offset[c] == 0;
            };
            const auto put = [&](std::size_t c) {
                putSe(bits, entry.weight[c]);
                putSe(bits, entry.offset[c]);
            };
            bits.put(!isDefault(0), 1);
            if (!isDefault(0))
                put(0);
            if (monochrome)
                continue;
            const bool chroma = !isDefault(1) || !isDefault(2);
            bits.put(chroma, 1);
            if (chroma) {
                put(1);
                put(2);
            }
        }
    }
}

void putMarking(BitWriter& bits, const SliceHeader& header)
{
    if (header.idr) {
        bits.put(header.noOutputOfPriorPictures, 1);
        bits.put(header.longTermReference, 1);
        return;
    }
    bits.put(header.adaptiveMarking, 1);
    if (!header.adaptiveMarking)
        return;
    for (const MarkingOperation& operation : header.marking) {
        putUe(bits, static_cast<uint32_t>(operation.operation));
        if (operation.operation == 1 || operation.operation == 3)
            putUe(bits, operation.differenceOfPicNums);
        if (operation.operation == 2)
            putUe(bits, operation.longTermPicNum);
        if (operation.operation == 3 || operation.operation == 6)
            putUe(bits, operation.longTermFrameIdx);
        if (operation.operation == 4)
            putUe(bits, operation.maxLongTermFrameIdx);
    }
    putUe(bits, 0);
}

void putReferenceCounts(BitWriter& bits, const SliceHeader& header, const PictureParameterSet& set,
                        bool explicitCounts)
{
    if (header.isIntra())
        return;
    const bool differ = header.refCount[0] != set.defaultRefCount[0] ||
                        (header.isB() && header.refCount[1] != set.defaultRefCount[1]);
    bits.put(differ || explicitCounts, 1);
    for (std::size_t list = 0; (differ || explicitCounts) && list < (header.isB() ? 2 : 1); list++)
        putUe(bits, static_cast<uint32_t>(header.refCount[list] - 1));
}

} // namespace

BitWriter sequenceParameterSet(const SequenceParameterSet& set)
{
    BitWriter bits;
    bits.put(set.profileIdc, 8);
    bits.put(set.constraintFlags, 8);
    bits.put(set.levelIdc, 8);
    putUe(bits, static_cast<uint32_t>(set.id));
    if (set.isHighProfile()) {
        putUe(bits, static_cast<uint32_t>(set.chromaFormatIdc));
        putUe(bits, 0);
        putUe(bits, 0);
        bits.put(set.losslessAtZero, 1);
        bits.put(set.scaling.has_value(), 1);
        if (set.scaling)
            putScalingMatrix(bits, *set.scaling, true);
    }
    putUe(bits, static_cast<uint32_t>(set.log2MaxFrameNum - 4));
    putPicOrderCount(bits, set);
    putUe(bits, static_cast<uint32_t>(set.maxNumRefFrames));
    bits.put(set.gapsInFrameNumAllowed, 1);
    putUe(bits, static_cast<uint32_t>(set.widthInMbs - 1));
    putUe(bits, static_cast<uint32_t>(set.heightInMapUnits - 1));
    bits.put(set.frameMbsOnly, 1);
    if (!set.frameMbsOnly)
        bits.put(set.mbAdaptiveFrameField, 1);
    bits.put(set.direct8x8Inference, 1);
    const bool cropped = set.cropLeft + set.cropRight + set.cropTop + set.cropBottom > 0;
    bits.put(cropped, 1);
    if (cropped) {
        const int unitX = set.chromaFormatIdc == 0 ? 1 : 2;
        const int unitY = unitX * (set.frameMbsOnly ? 1 : 2);
        putUe(bits, static_cast<uint32_t>(set.cropLeft / unitX));
        putUe(bits, static_cast<uint32_t>(set.cropRight / unitX));
        putUe(bits, static_cast<uint32_t>(set.cropTop / unitY));
        putUe(bits, static_cast<uint32_t>(set.cropBottom / unitY));
    }
    bits.put(set.numReorderFrames.has_value(), 1);
    if (set.numReorderFrames)
        putVui(bits, set);
    return bits;
}

BitWriter pictureParameterSet(const PictureParameterSet& set, const SequenceParameterSet& sequence)
{
    BitWriter bits;
    putUe(bits, static_cast<uint32_t>(set.id));
    putUe(bits, static_cast<uint32_t>(set.sequenceId));
    bits.put(set.cabac, 1);
    bits.put(set.picOrderPresent, 1);
    putSliceGroups(bits, set);
    putUe(bits, static_cast<uint32_t>(set.defaultRefCount[0] - 1));
    putUe(bits, static_cast<uint32_t>(set.defaultRefCount[1] - 1));
    bits.put(set.weightedPrediction, 1);
    bits.put(set.weightedBipredIdc, 2);
    putSe(bits, set.initialQp - 26);
    putSe(bits, 0);
    putSe(bits, set.chromaQpOffset[0]);
    bits.put(set.deblockingControlPresent, 1);
    bits.put(set.constrainedIntraPrediction, 1);
    bits.put(set.redundantPicCountPresent, 1);
    if (sequence.isHighProfile()) {
        bits.put(set.transform8x8, 1);
        bits.put(set.scaling.has_value(), 1);
        if (set.scaling)
            putScalingMatrix(bits, *set.scaling, set.transform8x8);
        putSe(bits, set.chromaQpOffset[1]);
    }
    return bits;
}

void putSliceHeader(BitWriter& bits, const SliceHeader& header, const SequenceParameterSet& sequence,
                    const PictureParameterSet& set, bool explicitCounts)
{
    putUe(bits, static_cast<uint32_t>(header.firstMb));
    putUe(bits, static_cast<uint32_t>(header.type));
    putUe(bits, static_cast<uint32_t>(set.id));
    bits.put(header.frameNum, sequence.log2MaxFrameNum);
    if (!sequence.frameMbsOnly) {
        bits.put(header.fieldPicture, 1);
        if (header.fieldPicture)
            bits.put(header.bottomField, 1);
    }
    if (header.idr)
        putUe(bits, static_cast<uint32_t>(header.idrPicId));
    const bool bottomPresent = set.picOrderPresent && !header.fieldPicture;
    if (sequence.pocType == 0) {
        bits.put(header.pocLsb, sequence.log2MaxPocLsb);
        if (bottomPresent)
            putSe(bits, header.deltaPocBottom);
    } else if (sequence.pocType == 1 && !sequence.deltaPicOrderAlwaysZero) {
        putSe(bits, header.deltaPoc[0]);
        if (bottomPresent)
            putSe(bits, header.deltaPoc[1]);
    }
    if (set.redundantPicCountPresent)
        putUe(bits, static_cast<uint32_t>(header.redundantPicCount));
    if (header.isB())
        bits.put(header.directSpatial, 1);
    putReferenceCounts(bits, header, set, explicitCounts);
    putModifications(bits, header);
    if ((set.weightedPrediction && header.type == SliceType::p) ||
        (set.weightedBipredIdc == 1 && header.isB()))
        putWeights(bits, header, sequence.chromaFormatIdc == 0);
    if (header.nalRefIdc != 0)
        putMarking(bits, header);
    putSe(bits, header.qp - set.initialQp);
    if (set.deblockingControlPresent) {
        putUe(bits, static_cast<uint32_t>(header.disableDeblocking));
        if (header.disableDeblocking != 1) {
            putSe(bits, header.alphaOffset / 2);
            putSe(bits, header.betaOffset / 2);
        }
    }
    if (set.sliceGroupCount > 1 && set.sliceGroupMapType >= 3 && set.sliceGroupMapType <= 5) {
        const double units = sequence.widthInMbs * sequence.heightInMapUnits;
        bits.put(header.sliceGroupChangeCycle,
                 static_cast<int>(std::ceil(std::log2(units / set.sliceGroupChangeRate + 1))));
    }
}

} // namespace kelvcpx::test
