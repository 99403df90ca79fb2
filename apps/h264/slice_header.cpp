#include "h264/slice_header.h"

#include "h264/syntax.h"

#include <bit>

namespace kelvcpx::app::h264 {
namespace {

void readFieldFlags(BitReader& reader, const SequenceParameterSet& sequence, SliceHeader& header)
{
    if (sequence.frameMbsOnly)
        return;
    header.fieldPicture = reader.readFlag();
    if (header.fieldPicture)
        header.bottomField = reader.readFlag();
}

void readPicOrderCount(BitReader& reader, const SequenceParameterSet& sequence,
                       const PictureParameterSet& picture, SliceHeader& header)
{
    const bool bottomPresent = picture.picOrderPresent && !header.fieldPicture;
    if (sequence.pocType == 0) {
        header.pocLsb = reader.readInt(sequence.log2MaxPocLsb);
        if (bottomPresent)
            header.deltaPocBottom = readSe(reader);
    } else if (sequence.pocType == 1 && !sequence.deltaPicOrderAlwaysZero) {
        header.deltaPoc[0] = readSe(reader);
        if (bottomPresent)
            header.deltaPoc[1] = readSe(reader);
    }
}

void readReferenceCounts(BitReader& reader, const PictureParameterSet& picture, SliceHeader& header)
{
    if (header.isIntra())
        return;
    header.refCount = picture.defaultRefCount;
    if (reader.readFlag()) { // num_ref_idx_active_override_flag
        header.refCount[0] = readUeUpTo(reader, 31) + 1;
        if (header.isB())
            header.refCount[1] = readUeUpTo(reader, 31) + 1;
    }
    if (!header.isB())
        header.refCount[1] = 0;
    const int most = header.fieldPicture ? 32 : 16;
    if (header.refCount[0] > most || header.refCount[1] > most)
        throw DamagedUnit("a slice has too many references");
}

// 7.3.3.1.
void readModifications(BitReader& reader, SliceHeader& header)
{
    constexpr std::size_t most = 66; // one for each entry, twice over
    for (std::size_t list = 0; list < (header.isIntra() ? 0 : header.isB() ? 2 : 1); list++) {
        if (!reader.readFlag())
            continue;
        for (;;) {
            const int idc = readUeUpTo(reader, 3);
            if (idc == 3)
                break;
            if (header.modifications[list].size() == most)
                throw DamagedUnit("a reference list is modified too often");
            header.modifications[list].push_back({idc, readUe(reader)});
        }
    }
}

// 7.3.3.2.
void readWeights(BitReader& reader, bool monochrome, SliceHeader& header)
{
    header.log2WeightDenominator[0] = readUeUpTo(reader, 7);
    if (!monochrome)
        header.log2WeightDenominator[1] = readUeUpTo(reader, 7);
    for (std::size_t list = 0; list < (header.isB() ? 2 : 1); list++) {
        for (int i = 0; i < header.refCount[list]; i++) {
            const int luma = 1 << header.log2WeightDenominator[0];
            const int chroma = 1 << header.log2WeightDenominator[1];
            PredictionWeight entry{{luma, chroma, chroma}, {}};
            const auto read = [&](std::size_t component) {
                entry.weight[component] = readSeWithin(reader, -128, 127);
                entry.offset[component] = readSeWithin(reader, -128, 127);
            };
            if (reader.readFlag())
                read(0);
            if (!monochrome && reader.readFlag()) {
                read(1);
                read(2);
            }
            header.weights[list].push_back(entry);
        }
    }
}

// 7.3.3.3.
void readMarking(BitReader& reader, SliceHeader& header)
{
    if (header.idr) {
        header.noOutputOfPriorPictures = reader.readFlag();
        header.longTermReference = reader.readFlag();
        return;
    }
    header.adaptiveMarking = reader.readFlag();
    if (!header.adaptiveMarking)
        return;
    constexpr std::size_t most = 66;
    for (;;) {
        MarkingOperation operation{readUeUpTo(reader, 6), 0, 0, 0, 0};
        if (operation.operation == 0)
            return;
        if (operation.operation == 1 || operation.operation == 3)
            operation.differenceOfPicNums = readUe(reader);
        if (operation.operation == 2)
            operation.longTermPicNum = readUe(reader);
        if (operation.operation == 3 || operation.operation == 6)
            operation.longTermFrameIdx = readUe(reader);
        if (operation.operation == 4)
            operation.maxLongTermFrameIdx = readUe(reader);
        if (header.marking.size() == most)
            throw DamagedUnit("a slice has too many memory management operations");
        header.marking.push_back(operation);
    }
}

void readDeblocking(BitReader& reader, SliceHeader& header)
{
    header.disableDeblocking = readUeUpTo(reader, 2);
    if (header.disableDeblocking == 1)
        return;
    header.alphaOffset = 2 * readSeWithin(reader, -6, 6);
    header.betaOffset = 2 * readSeWithin(reader, -6, 6);
}

// The cycle has as many bits as it takes to count the changes of the whole picture (7.4.3).
void readSliceGroupChangeCycle(BitReader& reader, const SequenceParameterSet& sequence,
                               const PictureParameterSet& picture, SliceHeader& header)
{
    if (picture.sliceGroupCount == 1 || picture.sliceGroupMapType < 3 || picture.sliceGroupMapType > 5)
        return;
    const int mapUnits = sequence.widthInMbs * sequence.heightInMapUnits;
    const int changes = (mapUnits + picture.sliceGroupChangeRate - 1) / picture.sliceGroupChangeRate;
    const auto bits = static_cast<int>(std::bit_width(static_cast<unsigned>(changes)));
    header.sliceGroupChangeCycle = reader.readInt(bits);
}

} // namespace

SliceHeader readSliceHeader(BitReader& reader, const NalHeader& nal, const ParameterSets& sets)
{
    SliceHeader header;
    header.nalRefIdc = nal.refIdc;
    header.idr = nal.type == NalType::idrSlice;
    header.firstMb = readUeUpTo(reader, 1 << 20);
    header.type = static_cast<SliceType>(readUeUpTo(reader, 9) % 5);
    header.pictureParameterSet = readUeUpTo(reader, 255);
    const auto& pictureSet = sets.pictures[static_cast<std::size_t>(header.pictureParameterSet)];
    if (!pictureSet)
        throw DamagedUnit("a slice without its picture parameter set");
    const auto& sequenceSet = sets.sequences[static_cast<std::size_t>(pictureSet->sequenceId)];
    if (!sequenceSet)
        throw DamagedUnit("a slice without its sequence parameter set");

    header.frameNum = reader.readInt(sequenceSet->log2MaxFrameNum);
    readFieldFlags(reader, *sequenceSet, header);
    if (header.idr)
        header.idrPicId = readUeUpTo(reader, 65535);
    readPicOrderCount(reader, *sequenceSet, *pictureSet, header);
    if (pictureSet->redundantPicCountPresent)
        header.redundantPicCount = readUeUpTo(reader, 127);
    if (header.isB())
        header.directSpatial = reader.readFlag();
    readReferenceCounts(reader, *pictureSet, header);
    readModifications(reader, header);
    const bool isP = header.type == SliceType::p || header.type == SliceType::sp;
    if ((pictureSet->weightedPrediction && isP) || (pictureSet->weightedBipredIdc == 1 && header.isB()))
        readWeights(reader, sequenceSet->chromaFormatIdc == 0, header);
    if (header.nalRefIdc != 0)
        readMarking(reader, header);
    if (pictureSet->cabac && !header.isIntra())
        header.cabacInitIdc = readUeUpTo(reader, 2);
    const int qpRange = 6 * (sequenceSet->bitDepthLuma - 8);
    header.qp = pictureSet->initialQp + readSe(reader);
    if (header.qp < -qpRange || header.qp > 51)
        throw DamagedUnit("the quantiser of a slice is out of range");
    if (pictureSet->deblockingControlPresent)
        readDeblocking(reader, header);
    readSliceGroupChangeCycle(reader, *sequenceSet, *pictureSet, header);
    if (reader.pastEnd())
        throw DamagedUnit("a slice header is cut off");
    return header;
}

} // namespace kelvcpx::app::h264
