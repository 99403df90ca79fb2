#include "apps/h264_random_stream.h"

#include "apps/h264_random_headers.h"
#include "apps/h264_random_macroblock.h"
#include "apps/h264_random_marking.h"
#include "apps/h264_random_references.h"
#include "apps/h264_random_slice_groups.h"
#include "apps/h264_random_syntax.h"
#include "support/random.h"

#include "h264/picture_buffer.h"
#include "h264/picture_order.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <utility>

namespace kelvcpx::test {

using namespace app::h264;

namespace {

constexpr int nalSlice = 1;
constexpr int nalIdrSlice = 5;
constexpr int nalSequenceSet = 7;
constexpr int nalPictureSet = 8;
constexpr int pictureSetCount = 3;

class StreamWriter
{
public:
    explicit StreamWriter(const RandomH264Options& options);

    RandomH264Stream write();

private:
    void drawSequence();
    PictureParameterSet drawPictureSet(int id);
    CodedScalingMatrix drawScaling(bool with8x8);
    void append(int refIdc, int type, const BitWriter& payload);

    void writeFrame(std::size_t index);
    int drawDisplayPosition(std::size_t index);
    int drawGap();
    void fillGap(int frameNum);
    void writePicture(SliceHeader header, char type, Structure structure);
    void drawPicOrderCount(SliceHeader& header, const PictureParameterSet& set, Structure structure);
    void appendSlices();
    void finishPicture(const SliceHeader& header, Structure structure);

    void writeSlice(SliceHeader header, const PictureParameterSet& set, Structure structure,
                    std::span<const int> macroblocks);
    void writeRedundantSlice(SliceHeader header, const PictureParameterSet& set);
    void drawDeblocking(SliceHeader& header);
    bool confusesFilter() const;

    bool hasPairs(Structure structure) const
    {
        return options_.macroblockPairs && structure == Structure::frame;
    }
    bool secondField() const { return current_->decoded != Structure::none; }

    const RandomH264Options options_;
    Random random_;
    Random disorder_; // for what does not change the pictures
    RandomH264Stream stream_;
    SequenceParameterSet sequence_;
    std::vector<PictureParameterSet> sets_;

    PictureBuffer buffer_;
    RandomH264State state_{options_, random_, sequence_, buffer_, stream_.tools};
    ReferenceDrawing references_{state_};
    MarkingDrawing marking_{state_};
    PictureBuffer::Output nobody_ = [](const Frame&) {};
    PictureOrderCounter order_;
    FramePointer current_;
    int previousRefFrameNum_ = 0;
    int idrPicId_ = 0;
    int basePoc_ = 0; // of the frame that is being written
    int nextDisplay_ = 0;
    std::vector<int> displayOfB_; // places between anchor pictures that are left
    bool previousIsReference_ = true;

    // Of the picture that is being written.
    std::vector<WrittenMacroblock> macroblocks_;
    int sliceNumber_ = 0;
    std::vector<std::vector<uint8_t>> slices_; // as NAL units
    std::vector<std::vector<uint8_t>> redundantSlices_;
    // At the edge of a P and a B slice ffmpeg takes the same picture in different lists for different ones,
    // unlike 8.7.2.1: a P slice of a picture with B slices leaves those edges alone.
    bool shunsNeighbours_ = false;
};

StreamWriter::StreamWriter(const RandomH264Options& options)
    : options_(options), random_(options.seed), disorder_(options.seed)
{}

RandomH264Stream StreamWriter::write()
{
    drawSequence();
    append(3, nalSequenceSet, sequenceParameterSet(sequence_));
    for (int id = 0; id < pictureSetCount; id++) {
        sets_.push_back(drawPictureSet(id));
        append(3, nalPictureSet, pictureParameterSet(sets_.back(), sequence_));
    }
    buffer_.configure(sequence_, nobody_);
    for (std::size_t i = 0; i < options_.types.size(); i++)
        writeFrame(i);
    stream_.frameCount = options_.types.size();
    return std::move(stream_);
}

void StreamWriter::append(int refIdc, int type, const BitWriter& payload)
{
    const std::vector<uint8_t> unit = nalUnit(refIdc, type, payload);
    stream_.bytes.insert(stream_.bytes.end(), unit.begin(), unit.end());
}

void StreamWriter::drawSequence()
{
    SequenceParameterSet& set = sequence_;
    set.profileIdc = options_.extendedProfile ? 88 : 100;
    set.levelIdc = 21; // the highest that lets both values of direct_8x8_inference_flag and of partitions
    set.chromaFormatIdc = options_.monochrome ? 0 : 1;
    set.log2MaxFrameNum = random_.uniform(4, 8);
    set.pocType = options_.pocType;
    set.log2MaxPocLsb = random_.uniform(6, 9);
    set.offsetForNonRefPic = random_.uniform(-3, 3);
    set.offsetForTopToBottomField = random_.uniform(-1, 1);
    for (int i = random_.uniform(0, 4); i > 0; i--)
        set.offsetForRefFrame.push_back(random_.uniform(-2, 8));
    set.maxNumRefFrames = options_.maxRefFrames;
    set.gapsInFrameNumAllowed = options_.gapsInFrameNum;
    set.frameMbsOnly = options_.frameMbsOnly;
    set.mbAdaptiveFrameField = options_.macroblockPairs;
    set.widthInMbs = options_.widthInMbs;
    set.heightInMapUnits = options_.heightInMbs / (set.frameMbsOnly ? 1 : 2);
    set.direct8x8Inference = options_.extendedProfile || !set.frameMbsOnly || random_.oneIn(2);
    if (options_.cropped) {
        set.cropLeft = 2 * random_.uniform(0, 3);
        set.cropRight = 2 * random_.uniform(1, 7);
        set.cropTop = 4 * random_.uniform(0, 2);
        set.cropBottom = 4 * random_.uniform(1, 3);
    }
    set.numReorderFrames = options_.pocType == 2 ? 0 : 5;
    set.maxDecFrameBuffering = 16;
    if (options_.transform8x8 && random_.oneIn(2))
        set.scaling = drawScaling(true);
}

PictureParameterSet StreamWriter::drawPictureSet(int id)
{
    PictureParameterSet set;
    set.id = id * 7;
    set.picOrderPresent = random_.oneIn(2);
    set.defaultRefCount = {random_.uniform(1, 4), random_.uniform(1, 4)};
    set.weightedPrediction = options_.weightedPrediction;
    set.weightedBipredIdc = options_.weightedBipredIdc;
    set.initialQp = random_.uniform(20, 34);
    set.chromaQpOffset = {random_.extreme<int>(-12, 12), random_.extreme<int>(-12, 12)};
    if (options_.extendedProfile || random_.oneIn(2))
        set.chromaQpOffset[1] = set.chromaQpOffset[0];
    set.deblockingControlPresent = !random_.oneIn(3);
    set.constrainedIntraPrediction = options_.constrainedIntra;
    set.transform8x8 = options_.transform8x8;
    set.redundantPicCountPresent = options_.redundantSlices;
    if (options_.sliceGroups) {
        drawSliceGroups(set, sequence_, random_.uniform(0, sliceGroupMapTypes - 1), random_);
        stream_.tools["slice group map type " + std::to_string(set.sliceGroupMapType)]++;
    }
    if (options_.transform8x8 && random_.oneIn(2))
        set.scaling = drawScaling(set.transform8x8);
    return set;
}

CodedScalingMatrix StreamWriter::drawScaling(bool with8x8)
{
    using Form = CodedScalingMatrix::Form;
    CodedScalingMatrix matrix;
    for (std::size_t i = 0; i < (with8x8 ? 8 : 6); i++) {
        matrix.forms[i] = static_cast<Form>(random_.uniform(0, 2));
        stream_.tools["scaling list " + std::to_string(static_cast<int>(matrix.forms[i]))]++;
    }
    const auto draw = [this](uint8_t&) { return static_cast<uint8_t>(random_.uniform(4, 48)); };
    for (auto& list : matrix.lists.list4x4)
        std::transform(list.begin(), list.end(), list.begin(), draw);
    for (auto& list : matrix.lists.list8x8)
        std::transform(list.begin(), list.end(), list.begin(), draw);
    return matrix;
}

// B pictures come between the picture before them in coding order and the one before that in output order.
int StreamWriter::drawDisplayPosition(std::size_t index)
{
    const std::string& types = options_.types;
    if (types[index] == 'B' && !displayOfB_.empty()) {
        const auto at = random_.uniform<std::size_t>(0, std::ssize(displayOfB_) - 1);
        const int position = displayOfB_[at];
        displayOfB_.erase(displayOfB_.begin() + static_cast<std::ptrdiff_t>(at));
        return position;
    }
    if (types[index] == 'I')
        nextDisplay_ = 0;
    const std::size_t end = std::min(types.find_first_not_of('B', index + 1), types.size());
    for (std::size_t i = index + 1; i < end && types[index] != 'I'; i++)
        displayOfB_.push_back(nextDisplay_++);
    return nextDisplay_++;
}

void StreamWriter::writeFrame(std::size_t index)
{
    const char type = options_.types[index];
    const bool followedByB = index + 1 < options_.types.size() && options_.types[index + 1] == 'B';
    constexpr int pocStep = 4;
    basePoc_ = pocStep * drawDisplayPosition(index);

    SliceHeader header;
    header.idr = type == 'I';
    const bool isReference = type == 'B'   ? random_.oneIn(3)
                             : type == 'P' ? followedByB || !previousIsReference_ || !random_.oneIn(5)
                                           : true;
    header.nalRefIdc = isReference ? random_.uniform(1, 3) : 0;
    if (header.idr) {
        header.idrPicId = idrPicId_ = (idrPicId_ + 1) % 5;
        previousRefFrameNum_ = 0;
    } else {
        header.frameNum = (previousRefFrameNum_ + 1 + drawGap()) % sequence_.maxFrameNum();
        fillGap(header.frameNum);
    }
    previousIsReference_ = isReference;

    current_ = buffer_.newFrame(FrameShape(sequence_), {});
    current_->frameNum = header.frameNum;
    current_->codedAsFields = options_.structures == PictureStructures::fields ||
                              (options_.structures == PictureStructures::mixed && random_.oneIn(2));
    references_.startFrame(current_);
    if (!current_->codedAsFields) {
        marking_.draw(header, *current_, Structure::frame, type != 'B' && !followedByB);
        writePicture(header, type, Structure::frame);
        return;
    }
    const Structure first = random_.oneIn(2) ? Structure::top : Structure::bottom;
    for (const Structure field : {first, opposite(first)}) {
        header.fieldPicture = true;
        header.bottomField = field == Structure::bottom;
        marking_.draw(header, *current_, field, type != 'B' && !followedByB);
        const bool second = secondField();
        writePicture(header, second && (type == 'I' || type == 'i') && !random_.oneIn(4) ? 'P' : type, field);
        header.idr = false;
        header.frameNum = current_->frameNum;
    }
}

// How many values of frame_num are left out. ffmpeg takes a non-reference picture for one of those that are
// missing, unlike 7.4.3, and does not count the cycles of frame_num that end in a gap, unlike 8.2.1.2.
int StreamWriter::drawGap()
{
    if (!options_.gapsInFrameNum || !previousIsReference_ || !random_.oneIn(3))
        return 0;
    const int gap = random_.uniform(1, 3);
    return sequence_.pocType != 0 && previousRefFrameNum_ + gap >= sequence_.maxFrameNum() ? 0 : gap;
}

// 8.2.5.2
void StreamWriter::fillGap(int frameNum)
{
    const int maxFrameNum = sequence_.maxFrameNum();
    for (int missing = (previousRefFrameNum_ + 1) % maxFrameNum; missing != frameNum;
         missing = (missing + 1) % maxFrameNum) {
        stream_.tools["gap in frame_num"]++;
        const FramePointer frame = buffer_.newFrame(FrameShape(sequence_), {});
        frame->frameNum = missing;
        frame->nonExisting = true;
        frame->decoded = Structure::frame;
        frame->hasPoc = sequence_.pocType != 0;
        if (frame->hasPoc) {
            SliceHeader inferred;
            inferred.frameNum = missing;
            inferred.nalRefIdc = 1;
            frame->fieldPoc = order_.next(sequence_, inferred);
        }
        buffer_.slideWindow(*frame);
        frame->shortTerm = Structure::frame;
        buffer_.add(frame);
        buffer_.complete(*frame, nobody_);
        previousRefFrameNum_ = missing;
    }
}

void StreamWriter::writePicture(SliceHeader header, char type, Structure structure)
{
    const PictureParameterSet& set = sets_[random_.uniform<std::size_t>(0, pictureSetCount - 1)];
    header.pictureParameterSet = set.id;
    drawPicOrderCount(header, set, structure);
    stream_.tools[structure == Structure::frame ? "frame picture" : "field picture"]++;

    const int rows = sequence_.heightInMbs() / (structure == Structure::frame ? 1 : 2);
    macroblocks_.assign(static_cast<std::size_t>(sequence_.widthInMbs * rows), {});
    sliceNumber_ = 0;
    references_.startPicture();
    header.sliceGroupChangeCycle = drawSliceGroupChangeCycle(set, sequence_, random_);
    const bool mixesTypes = !options_.temporalDirect && random_.oneIn(2);
    const SliceType main = type == 'B' ? SliceType::b : type == 'P' ? SliceType::p : SliceType::i;
    for (const std::vector<int>& group : macroblocksOfGroups(set, sequence_, header)) {
        for (const std::vector<int>& slice : cutIntoSlices(group, random_)) {
            header.type = main;
            if (mixesTypes && main != SliceType::i && random_.oneIn(3))
                header.type = main == SliceType::b && set.deblockingControlPresent && random_.oneIn(2)
                                  ? SliceType::p
                                  : SliceType::i;
            shunsNeighbours_ = main == SliceType::b && header.type == SliceType::p;
            header.firstMb = slice.front();
            writeSlice(header, set, structure, slice);
        }
    }
    appendSlices();
    finishPicture(header, structure);
}

// Chooses the counts, which decide the order of output, and what codes them.
void StreamWriter::drawPicOrderCount(SliceHeader& header, const PictureParameterSet& set, Structure structure)
{
    int toBottom = 0;
    if (set.picOrderPresent)
        toBottom = random_.uniform(-1, 1);
    else if (sequence_.pocType == 1)
        toBottom = sequence_.offsetForTopToBottomField;
    std::array<int, 2> wanted{basePoc_ + std::max(0, -toBottom), basePoc_ + std::max(0, toBottom)};
    if (structure != Structure::frame)
        wanted.fill(basePoc_ + (secondField() ? 1 : 0));

    const auto field = structure == Structure::bottom ? 1U : 0U;
    if (sequence_.pocType == 0) {
        header.pocLsb = wanted[field] & ((1 << sequence_.log2MaxPocLsb) - 1);
        header.deltaPocBottom = set.picOrderPresent && structure == Structure::frame ? toBottom : 0;
    } else if (sequence_.pocType == 1) {
        const auto expected = PictureOrderCounter(order_).next(sequence_, header);
        header.deltaPoc[0] = wanted[field] - expected[field];
        if (set.picOrderPresent && structure == Structure::frame)
            header.deltaPoc[1] = toBottom - sequence_.offsetForTopToBottomField;
    }
    const auto poc = order_.next(sequence_, header);
    if (structure != Structure::bottom)
        current_->fieldPoc[0] = poc[0];
    if (structure != Structure::top)
        current_->fieldPoc[1] = poc[1];
}

void StreamWriter::finishPicture(const SliceHeader& header, Structure structure)
{
    const bool first = !secondField();
    current_->decoded = current_->decoded | structure;
    const bool forgets = !header.marking.empty() && header.marking.back().operation == 5;
    if (first && (header.idr || forgets))
        buffer_.flush(nobody_);
    if (first)
        buffer_.add(current_);
    if (header.nalRefIdc != 0) {
        buffer_.mark(*current_, structure, header);
        previousRefFrameNum_ = header.frameNum;
    }
    if (forgets) {
        const int lowest = current_->poc();
        for (int& poc : current_->fieldPoc)
            poc -= lowest;
        current_->frameNum = 0;
        previousRefFrameNum_ = 0;
        order_.restartAfter(header, current_->fieldPoc[0]);
        nextDisplay_ = 1;
        basePoc_ = 0;
        // ffmpeg puts a non-reference picture that comes next in the wrong place.
        previousIsReference_ = false;
    }
    if (current_->decoded == Structure::frame)
        buffer_.complete(*current_, nobody_);
}

void StreamWriter::writeSlice(SliceHeader header, const PictureParameterSet& set, Structure structure,
                              std::span<const int> macroblocks)
{
    header.qp = random_.uniform(14, 40);
    if (set.deblockingControlPresent)
        drawDeblocking(header);
    else if (confusesFilter())
        header.type = SliceType::i;
    std::array<std::vector<int>, 2> references;
    if (header.type != SliceType::i)
        references = references_.draw(header, set, structure);
    if (header.type == SliceType::b)
        stream_.tools[header.directSpatial ? "spatial direct" : "temporal direct"]++;

    BitWriter bits;
    putSliceHeader(bits, header, sequence_, set, random_.oneIn(3));
    MacroblockWriter({sequence_, set, header, macroblocks_, sequence_.widthInMbs, sliceNumber_++, macroblocks,
                      std::move(references), hasPairs(structure)},
                     random_, bits, stream_.tools, stream_.codes)
        .write();
    slices_.push_back(nalUnit(header.nalRefIdc, header.idr ? nalIdrSlice : nalSlice, bits));
    if (options_.redundantSlices && disorder_.oneIn(2))
        writeRedundantSlice(header, set);
}

// A header and whatever.
void StreamWriter::writeRedundantSlice(SliceHeader header, const PictureParameterSet& set)
{
    stream_.tools["redundant slice"]++;
    header.redundantPicCount = disorder_.uniform(1, 127);
    BitWriter bits;
    putSliceHeader(bits, header, sequence_, set, false);
    for (int i = disorder_.uniform(0, 200); i > 0; i--)
        bits.put(disorder_.uniform(0, 255), 8);
    redundantSlices_.push_back(nalUnit(header.nalRefIdc, header.idr ? nalIdrSlice : nalSlice, bits));
}

// Primary slices first (7.4.1.2.5).
void StreamWriter::appendSlices()
{
    if (options_.arbitrarySliceOrder)
        shuffle(slices_, disorder_);
    for (auto* const slices : {&slices_, &redundantSlices_}) {
        for (const std::vector<uint8_t>& unit : *slices)
            stream_.bytes.insert(stream_.bytes.end(), unit.begin(), unit.end());
        slices->clear();
    }
}

// Where long-term frame indices leave some out ffmpeg takes pictures at their edges for the same,
// unlike 8.7.2.1.
bool StreamWriter::confusesFilter() const
{
    int count = 0;
    int largest = -1;
    for (const FramePointer& frame : buffer_.frames()) {
        if (frame->longTerm != Structure::none) {
            count++;
            largest = std::max(largest, frame->longTermFrameIdx);
        }
    }
    return largest >= count;
}

void StreamWriter::drawDeblocking(SliceHeader& header)
{
    header.disableDeblocking = random_.uniform(shunsNeighbours_ ? 1 : 0, 2);
    if (header.type != SliceType::i && confusesFilter())
        header.disableDeblocking = 1;
    stream_.tools["disable_deblocking_filter_idc " + std::to_string(header.disableDeblocking)]++;
    if (header.disableDeblocking == 1)
        return;
    header.alphaOffset = 2 * random_.extreme<int>(-6, 6);
    header.betaOffset = 2 * random_.extreme<int>(-6, 6);
}

} // namespace

RandomH264Stream makeRandomH264Stream(const RandomH264Options& options)
{
    return StreamWriter(options).write();
}

} // namespace kelvcpx::test
