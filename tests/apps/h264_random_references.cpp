#include "apps/h264_random_references.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace kelvcpx::test {

using namespace app::h264;

void ReferenceDrawing::startFrame(const FramePointer& frame)
{
    current_ = frame;
    references_[frame->number] = {};
}

std::array<ReferenceList, 2> ReferenceDrawing::listsOf(const SliceHeader& header, Structure structure) const
{
    return makeReferenceLists(state_.buffer.frames(), header, structure, current_->poc(structure),
                              state_.sequence.maxFrameNum());
}

// All pictures that may be referred to.
ReferenceList ReferenceDrawing::available(const SliceHeader& header, Structure structure) const
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
std::array<std::vector<int>, 2> ReferenceDrawing::draw(SliceHeader& header, const PictureParameterSet& set,
                                                       Structure structure)
{
    const ReferenceList choice = available(header, structure);
    if (choice.empty()) {
        header.type = SliceType::i;
        return {};
    }
    const auto most = static_cast<int>(choice.size());
    for (std::size_t list = 0; list < (header.isB() ? 2U : 1U); list++) {
        header.refCount[list] = state_.options.temporalDirect ? most : state_.random.uniform(1, most);
        if (state_.options.longLists && state_.random.oneIn(2))
            header.refCount[list] =
                std::min(most + state_.random.uniform(1, 3), header.fieldPicture ? 32 : 16);
        // Frames that a gap stands for must not be referred to: at least the first entry has to be another.
        // In B slices ffmpeg does not put them where they belong (8.2.4.2.3), nor does it know both their
        // fields where fields follow (8.2.5.2): other pictures take their places.
        if (state_.options.gapsInFrameNum &&
            (header.isB() || state_.options.structures != PictureStructures::frames))
            header.modifications[list] = drawModifications(header, choice, header.refCount[list]);
        else if (state_.options.gapsInFrameNum || (state_.options.modifyLists && state_.random.oneIn(2)))
            header.modifications[list] =
                drawModifications(header, choice, state_.random.uniform(1, header.refCount[list]));
    }
    if (state_.options.temporalDirect) { // the whole list in the same order for all slices
        if (!sharedModifications_)
            sharedModifications_ = header.modifications;
        header.modifications = *sharedModifications_;
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
                state_.tools["place in a list without a picture"]++;
                continue;
            }
            if (entry.frame == current_)
                state_.tools["second field that may refer to the first"]++;
            usable[list].push_back(i);
            used.insert(entry.id());
        }
    }
    header.directSpatial =
        !header.isB() || !state_.options.temporalDirect || !allowsTemporalDirect(lists, structure);
    if (header.type == SliceType::p ? set.weightedPrediction : set.weightedBipredIdc == 1)
        drawWeights(header);
    return usable;
}

// 8.2.4.1, 8.2.4.3: pictures drawn from `choice`, one of them a second time now and then.
std::vector<ListModification> ReferenceDrawing::drawModifications(const SliceHeader& header,
                                                                  const ReferenceList& choice, int most)
{
    const bool isField = header.fieldPicture;
    const int maxPicNum = (isField ? 2 : 1) * state_.sequence.maxFrameNum();
    int predicted = isField ? 2 * header.frameNum + 1 : header.frameNum;
    std::vector<ListModification> modifications;
    for (int i = 0; i < most; i++) {
        const ReferencePicture& picture =
            choice[state_.random.uniform<std::size_t>(0, std::ssize(choice) - 1)];
        const bool sameParity = isField && (picture.structure == Structure::bottom) == header.bottomField;
        const auto number = [&](int ofFrame) {
            return isField ? 2 * ofFrame + (sameParity ? 1 : 0) : ofFrame;
        };
        if (picture.isLongTerm()) {
            state_.tools["list modification by long-term picture"]++;
            modifications.push_back({2, static_cast<uint32_t>(number(picture.frame->longTermFrameIdx))});
            continue;
        }
        const int picNum = number(frameNumWrap(*picture.frame, header, state_.sequence));
        int difference = picNum - predicted;
        if (difference == 0 || state_.random.oneIn(4)) // round the other way
            difference += difference > 0 ? -maxPicNum : maxPicNum;
        state_.tools[difference < 0 ? "list modification down" : "list modification up"]++;
        modifications.push_back({difference < 0 ? 0 : 1, static_cast<uint32_t>(std::abs(difference) - 1)});
        predicted = picNum;
    }
    return modifications;
}

// Sums of two weights must keep within -128..128 (8.4.2.3).
void ReferenceDrawing::drawWeights(SliceHeader& header)
{
    const int mostLog2 = header.isB() ? 6 : 7;
    header.log2WeightDenominator = {state_.random.uniform(0, mostLog2), state_.random.uniform(0, mostLog2)};
    for (std::size_t list = 0; list < 2; list++)
        for (int i = 0; i < header.refCount[list]; i++) {
            PredictionWeight entry{};
            for (std::size_t c = 0; c < 3; c++) {
                const int one = 1 << header.log2WeightDenominator[c > 0 ? 1 : 0];
                const bool isDefault =
                    state_.random.oneIn(3) || state_.options.monochrome * c > 0 || one == 128;
                entry.weight[c] = isDefault                ? one
                                  : state_.random.oneIn(3) ? state_.random.extreme<int>(-64, 64)
                                                           : std::min(64, one + state_.random.uniform(-3, 3));
                entry.offset[c] = isDefault                ? 0
                                  : state_.random.oneIn(4) ? state_.random.extreme<int>(-128, 127)
                                                           : state_.random.uniform(-8, 8);
            }
            state_.tools["explicit weight"]++;
            header.weights[list].push_back(entry);
        }
}

// Temporal direct prediction needs every picture that the co-located blocks may refer to (8.4.1.2.3).
bool ReferenceDrawing::allowsTemporalDirect(const std::array<ReferenceList, 2>& lists,
                                            Structure structure) const
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
            if (state_.options.macroblockPairs && !codedAsFields && structure != Structure::frame)
                needed.insert(pictureId(frameNumberOf(id), opposite(structure)));
        }
    }
    return std::all_of(needed.begin(), needed.end(), [&](PictureId id) {
        return std::any_of(lists[0].begin(), lists[0].end(), [=](const ReferencePicture& picture) {
            return picture.frame != nullptr && picture.id() == id;
        });
    });
}

} // namespace kelvcpx::test
