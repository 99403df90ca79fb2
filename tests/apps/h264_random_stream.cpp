#include "apps/h264_random_stream.h"

#include "apps/h264_random_headers.h"
#include "apps/h264_random_macroblock.h"
#include "apps/h264_random_slice_groups.h"
#include "apps/h264_random_syntax.h"
#include "support/random.h"

#include "h264/picture_buffer.h"
#include "h264/picture_order.h"
#include "h264/reference_lists.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <set>
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
constexpr int noLongTermIdx = -1;

// Which pictures a field or a frame was predicted from.
using References = std::set<PictureId>;

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
    std::array<std::vector<int>, 2> drawReferences(SliceHeader& header, const PictureParameterSet& set,
                                                   Structure structure);
    ReferenceList available(const SliceHeader& header, Structure structure) const;
    std::array<ReferenceList, 2> listsOf(const SliceHeader& header, Structure structure) const;
    std::vector<ListModification> drawModifications(const SliceHeader& header, const ReferenceList& choice,
                                                    int most);
    void drawWeights(SliceHeader& header);
    bool allowsTemporalDirect(const std::array<ReferenceList, 2>& lists, Structure structure) const;
    void drawDeblocking(SliceHeader& header);
    bool confusesFilter() const;

    void drawMarking(SliceHeader& header, Structure structure, bool mayForget);
    void drawFirstMarking(SliceHeader& header, Structure structure, bool mayForget);
    void drawSecondMarking(SliceHeader& header, Structure structure);
    void spareField(SliceHeader& header);
    void makeLongTerm(SliceHeader& header, const Frame& frame, Structure structure);
    int drawLongTermIdx(SliceHeader& header);
    std::vector<MarkingOperation> releasing(const Frame& frame, const SliceHeader& header,
                                            Structure structure) const;
    int wrapOf(const Frame& frame, const SliceHeader& header) const;

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
    PictureBuffer::Output nobody_ = [](const Frame&) {};
    PictureOrderCounter order_;
    FramePointer current_;
    int previousRefFrameNum_ = 0;
    int idrPicId_ = 0;
    int basePoc_ = 0; // of the frame that is being written
    int nextDisplay_ = 0;
    std::vector<int> displayOfB_; // places between anchor pictures that are left
    bool previousIsReference_ = true;
    int maxLongTermFrameIdx_ = noLongTermIdx;

    // Of the picture that is being written.
    std::vector<WrittenMacroblock> macroblocks_;
    int sliceNumber_ = 0;
    std::vector<std::vector<uint8_t>> slices_; // as NAL units
    std::vector<std::vector<uint8_t>> redundantSlices_;
    // At the edge of a P and a B slice ffmpeg takes the same picture in different lists for different ones,
    // unlike 8.7.2.1: a P slice of a picture with B slices leaves those edges alone.
    bool shunsNeighbours_ = false;
    std::array<std::vector<ListModification>, 2> sharedModifications_;
    std::map<int32_t, std::array<References, 2>> references_; // by frame number; of fields by parity
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
    references_[current_->number] = {};
    if (!current_->codedAsFields) {
        drawMarking(header, Structure::frame, type != 'B' && !followedByB);
        writePicture(header, type, Structure::frame);
        return;
    }
    const Structure first = random_.oneIn(2) ? Structure::top : Structure::bottom;
    for (const Structure field : {first, opposite(first)}) {
        header.fieldPicture = true;
        header.bottomField = field == Structure::bottom;
        drawMarking(header, field, type != 'B' && !followedByB);
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
    sharedModifications_ = {};
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
        references = drawReferences(header, set, structure);
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
    int largest = noLongTermIdx;
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

std::array<ReferenceList, 2> StreamWriter::listsOf(const SliceHeader& header, Structure structure) const
{
    return makeReferenceLists(buffer_.frames(), header, structure, current_->poc(structure),
                              sequence_.maxFrameNum());
}

// All pictures that may be referred to.
ReferenceList StreamWriter::available(const SliceHeader& header, Structure structure) const
{
    SliceHeader all = header;
    all.refCount = {32, 32};
    all.modifications = {};
    ReferenceList list = listsOf(all, structure)[0];
    std::erase_if(list, [](const ReferencePicture& picture) {
        return picture.frame == nullptr || picture.frame->nonExisting;
    });
    return list;
}

// The number of references, their order, weights and the kind of direct prediction; another slice type where
// there are no references. Returns the indices that macroblocks may use.
std::array<std::vector<int>, 2>
StreamWriter::drawReferences(SliceHeader& header, const PictureParameterSet& set, Structure structure)
{
    const ReferenceList choice = available(header, structure);
    if (choice.empty()) {
        header.type = SliceType::i;
        return {};
    }
    const auto most = static_cast<int>(choice.size());
    for (std::size_t list = 0; list < (header.isB() ? 2U : 1U); list++) {
        header.refCount[list] = options_.temporalDirect ? most : random_.uniform(1, most);
        if (options_.longLists && random_.oneIn(2))
            header.refCount[list] = std::min(most + random_.uniform(1, 3), header.fieldPicture ? 32 : 16);
        // Frames that a gap stands for must not be referred to: at least the first entry has to be another.
        // In B slices ffmpeg does not put them where they belong (8.2.4.2.3), nor does it know both their
        // fields where fields follow (8.2.5.2): other pictures take their places.
        if (options_.gapsInFrameNum && (header.isB() || options_.structures != PictureStructures::frames))
            header.modifications[list] = drawModifications(header, choice, header.refCount[list]);
        else if (options_.gapsInFrameNum || (options_.modifyLists && random_.oneIn(2)))
            header.modifications[list] =
                drawModifications(header, choice, random_.uniform(1, header.refCount[list]));
    }
    if (options_.temporalDirect) { // the whole list in the same order for all slices
        if (sliceNumber_ == 0)
            sharedModifications_ = header.modifications;
        header.modifications = sharedModifications_;
    }
    const auto lists = listsOf(header, structure);
    // ffmpeg is wrong now and then about blocks that are co-located in the first field of the same frame.
    if (header.isB() && lists[1].front().frame == current_) {
        header.type = SliceType::i;
        return {};
    }
    auto& used = references_[current_->number][structure == Structure::bottom ? 1 : 0];
    std::array<std::vector<int>, 2> usable;
    for (std::size_t list = 0; list < 2; list++) {
        for (int i = 0; i < header.refCount[list]; i++) {
            const ReferencePicture& entry = lists[list][static_cast<std::size_t>(i)];
            if (entry.frame == nullptr || entry.frame->nonExisting) {
                stream_.tools["place in a list without a picture"]++;
                continue;
            }
            if (entry.frame == current_)
                stream_.tools["second field that may refer to the first"]++;
            usable[list].push_back(i);
            used.insert(entry.id());
        }
    }
    header.directSpatial =
        !header.isB() || !options_.temporalDirect || !allowsTemporalDirect(lists, structure);
    if (header.type == SliceType::p ? set.weightedPrediction : set.weightedBipredIdc == 1)
        drawWeights(header);
    return usable;
}

int StreamWriter::wrapOf(const Frame& frame, const SliceHeader& header) const
{
    return frame.frameNum > header.frameNum ? frame.frameNum - sequence_.maxFrameNum() : frame.frameNum;
}

// 8.2.4.1, 8.2.4.3: pictures drawn from `choice`, one of them a second time now and then.
std::vector<ListModification> StreamWriter::drawModifications(const SliceHeader& header,
                                                              const ReferenceList& choice, int most)
{
    const bool isField = header.fieldPicture;
    const int maxPicNum = (isField ? 2 : 1) * sequence_.maxFrameNum();
    int predicted = isField ? 2 * header.frameNum + 1 : header.frameNum;
    std::vector<ListModification> modifications;
    for (int i = 0; i < most; i++) {
        const ReferencePicture& picture = choice[random_.uniform<std::size_t>(0, std::ssize(choice) - 1)];
        const bool sameParity = isField && (picture.structure == Structure::bottom) == header.bottomField;
        const auto number = [&](int ofFrame) {
            return isField ? 2 * ofFrame + (sameParity ? 1 : 0) : ofFrame;
        };
        if (picture.isLongTerm()) {
            stream_.tools["list modification by long-term picture"]++;
            modifications.push_back({2, static_cast<uint32_t>(number(picture.frame->longTermFrameIdx))});
            continue;
        }
        const int picNum = number(wrapOf(*picture.frame, header));
        int difference = picNum - predicted;
        if (difference == 0 || random_.oneIn(4)) // round the other way
            difference += difference > 0 ? -maxPicNum : maxPicNum;
        stream_.tools[difference < 0 ? "list modification down" : "list modification up"]++;
        modifications.push_back({difference < 0 ? 0 : 1, static_cast<uint32_t>(std::abs(difference) - 1)});
        predicted = picNum;
    }
    return modifications;
}

// Sums of two weights must keep within -128..128 (8.4.2.3).
void StreamWriter::drawWeights(SliceHeader& header)
{
    const int mostLog2 = header.isB() ? 6 : 7;
    header.log2WeightDenominator = {random_.uniform(0, mostLog2), random_.uniform(0, mostLog2)};
    for (std::size_t list = 0; list < 2; list++)
        for (int i = 0; i < header.refCount[list]; i++) {
            PredictionWeight entry{};
            for (std::size_t c = 0; c < 3; c++) {
                const int one = 1 << header.log2WeightDenominator[c > 0 ? 1 : 0];
                const bool isDefault = random_.oneIn(3) || options_.monochrome * c > 0 || one == 128;
                entry.weight[c] = isDefault          ? one
                                  : random_.oneIn(3) ? random_.extreme<int>(-64, 64)
                                                     : std::min(64, one + random_.uniform(-3, 3));
                entry.offset[c] = isDefault          ? 0
                                  : random_.oneIn(4) ? random_.extreme<int>(-128, 127)
                                                     : random_.uniform(-8, 8);
            }
            stream_.tools["explicit weight"]++;
            header.weights[list].push_back(entry);
        }
}

// Temporal direct prediction needs every picture that the co-located blocks may refer to (8.4.1.2.3).
bool StreamWriter::allowsTemporalDirect(const std::array<ReferenceList, 2>& lists, Structure structure) const
{
    const ReferencePicture& colocated = lists[1].front();
    const bool codedAsFields = colocated.frame->codedAsFields;
    const auto& used = references_.at(colocated.frame->number);
    References needed;
    for (std::size_t i = 0; i < 2; i++) {
        const bool looksAt = !codedAsFields || structure == Structure::frame
                                 ? true
                                 : (colocated.structure == Structure::bottom) == (i == 1);
        for (const PictureId id : used[i]) {
            if (!looksAt)
                continue;
            needed.insert(codedAsFields != (structure != Structure::frame)
                              ? pictureId(frameNumberOf(id), structure)
                              : id);
            // Field macroblocks of a frame refer to both.
            if (options_.macroblockPairs && !codedAsFields && structure != Structure::frame)
                needed.insert(pictureId(frameNumberOf(id), opposite(structure)));
        }
    }
    return std::all_of(needed.begin(), needed.end(), [&](PictureId id) {
        return std::any_of(lists[0].begin(), lists[0].end(), [=](const ReferencePicture& picture) {
            return picture.frame != nullptr && picture.id() == id;
        });
    });
}

// Operations that release a frame, or its fields one by one; none if pictures of this structure cannot name
// it.
std::vector<MarkingOperation> StreamWriter::releasing(const Frame& frame, const SliceHeader& header,
                                                      Structure structure) const
{
    std::vector<MarkingOperation> operations;
    const bool isField = structure != Structure::frame;
    const auto release = [&](Structure part, bool sameParity) {
        const auto number = [&](int ofFrame) {
            return isField ? 2 * ofFrame + (sameParity ? 1 : 0) : ofFrame;
        };
        const int current = isField ? 2 * header.frameNum + 1 : header.frameNum;
        if (includes(frame.shortTerm, part)) {
            const int difference = current - number(wrapOf(frame, header)) - 1;
            operations.push_back({1, static_cast<uint32_t>(difference), 0, 0, 0});
        }
        if (includes(frame.longTerm, part))
            operations.push_back({2, 0, static_cast<uint32_t>(number(frame.longTermFrameIdx)), 0, 0});
    };
    if (isField) {
        release(structure, true);
        release(opposite(structure), false);
    } else {
        release(Structure::frame, false);
    }
    return operations;
}

int StreamWriter::drawLongTermIdx(SliceHeader& header)
{
    if (maxLongTermFrameIdx_ == noLongTermIdx || random_.oneIn(4)) {
        maxLongTermFrameIdx_ = random_.uniform(0, options_.maxRefFrames - 1);
        header.marking.push_back({4, 0, 0, 0, static_cast<uint32_t>(maxLongTermFrameIdx_ + 1)});
    }
    return random_.uniform(0, maxLongTermFrameIdx_);
}

void StreamWriter::drawMarking(SliceHeader& header, Structure structure, bool mayForget)
{
    header.adaptiveMarking = false;
    header.marking.clear();
    if (header.nalRefIdc == 0)
        return;
    if (header.idr) {
        header.longTermReference =
            options_.longTermReferences && !current_->codedAsFields && random_.oneIn(2);
        maxLongTermFrameIdx_ = header.longTermReference ? 0 : noLongTermIdx;
        return;
    }
    if (!options_.memoryManagement)
        return;
    if (secondField())
        drawSecondMarking(header, structure);
    else
        drawFirstMarking(header, structure, mayForget);
    header.adaptiveMarking = !header.marking.empty();
    for (const MarkingOperation& operation : header.marking)
        stream_.tools["memory management operation " + std::to_string(operation.operation)]++;
}

// At most maxRefFrames frames may be references afterwards.
void StreamWriter::drawFirstMarking(SliceHeader& header, Structure structure, bool mayForget)
{
    // The next picture has frame_num 0 or 1, by which it must be told from this one.
    if (mayForget && header.frameNum > 1 && random_.oneIn(6)) {
        header.marking.push_back({5, 0, 0, 0, 0});
        maxLongTermFrameIdx_ = noLongTermIdx;
        return;
    }
    std::vector<const Frame*> frames;
    for (const FramePointer& frame : buffer_.frames())
        if (frame->isReference())
            frames.push_back(frame.get());
    const bool full = std::ssize(frames) >= options_.maxRefFrames;
    const bool canSlide = std::any_of(frames.begin(), frames.end(),
                                      [](const Frame* frame) { return frame->shortTerm != Structure::none; });
    if (frames.empty() || (canSlide && random_.oneIn(2)))
        return;
    const auto draw = [&] { return frames[random_.uniform<std::size_t>(0, std::ssize(frames) - 1)]; };
    const Frame* const victim = full || random_.oneIn(4) ? draw() : nullptr;
    if (victim != nullptr) {
        header.marking = releasing(*victim, header, structure);
        if (header.marking.empty())
            return;
        if (!full)
            spareField(header);
    }
    const Frame* const other = draw();
    // ffmpeg forgets the first field when the second one becomes a long-term reference by itself, unlike
    // 8.2.5.4.6.
    if (options_.longTermReferences && structure == Structure::frame && random_.oneIn(3)) {
        const int idx = drawLongTermIdx(header);
        header.marking.push_back({6, 0, 0, static_cast<uint32_t>(idx), 0});
    } else if (options_.longTermReferences && random_.oneIn(2) && other != victim) {
        makeLongTerm(header, *other, structure);
    }
}

void StreamWriter::drawSecondMarking(SliceHeader& header, Structure structure)
{
    for (const FramePointer& frame : buffer_.frames()) {
        if (frame == current_ || !frame->isReference() || !random_.oneIn(6))
            continue;
        if (options_.longTermReferences && random_.oneIn(2)) {
            makeLongTerm(header, *frame, structure);
        } else {
            header.marking = releasing(*frame, header, structure);
            spareField(header);
        }
        return;
    }
}

// Now and then only one of two fields is released. For ffmpeg it is still half a reference of frames, unlike
// 8.2.4.2.1.
void StreamWriter::spareField(SliceHeader& header)
{
    if (header.marking.size() > 1 && options_.structures == PictureStructures::fields && random_.oneIn(2))
        header.marking.pop_back();
}

// A frame, or both fields of it: for ffmpeg a field is what the other one is, unlike 8.2.5.4.3.
void StreamWriter::makeLongTerm(SliceHeader& header, const Frame& frame, Structure structure)
{
    const std::vector<MarkingOperation> operations = releasing(frame, header, structure);
    if (frame.shortTerm == Structure::none || frame.nonExisting || operations.empty())
        return;
    const auto idx = static_cast<uint32_t>(drawLongTermIdx(header));
    for (const MarkingOperation& operation : operations)
        header.marking.push_back({3, operation.differenceOfPicNums, 0, idx, 0});
}

} // namespace

RandomH264Stream makeRandomH264Stream(const RandomH264Options& options)
{
    return StreamWriter(options).write();
}

} // namespace kelvcpx::test
