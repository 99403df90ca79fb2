// Random reference lists of slices: their length, order and weights, and the kind of direct prediction (ITU-T
// H.264 8.2.4, 8.4.2.3).
#pragma once

#include "apps/h264_random_state.h"

#include "h264/reference_lists.h"

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace kelvcpx::test {

class ReferenceDrawing
{
public:
    explicit ReferenceDrawing(const RandomH264State& state) : state_(state) {}

    void startFrame(const app::h264::FramePointer& frame);
    void startPicture() { sharedModifications_.reset(); }

    // Another slice type where there are no references. Returns the indices that macroblocks may use.
    std::array<std::vector<int>, 2> draw(app::h264::SliceHeader& header,
                                         const app::h264::PictureParameterSet& set,
                                         app::h264::Structure structure);

private:
    using Modifications = std::vector<app::h264::ListModification>;
    // Which pictures a field or a frame was predicted from.
    using References = std::set<app::h264::PictureId>;

    app::h264::ReferenceList available(const app::h264::SliceHeader& header,
                                       app::h264::Structure structure) const;
    std::array<app::h264::ReferenceList, 2> listsOf(const app::h264::SliceHeader& header,
                                                    app::h264::Structure structure) const;
    Modifications drawModifications(const app::h264::SliceHeader& header,
                                    const app::h264::ReferenceList& choice, int most);
    void drawWeights(app::h264::SliceHeader& header);
    bool allowsTemporalDirect(const std::array<app::h264::ReferenceList, 2>& lists,
                              app::h264::Structure structure) const;

    RandomH264State state_;
    app::h264::FramePointer current_;
    std::optional<std::array<Modifications, 2>> sharedModifications_; // of the slices of a picture
    std::map<int32_t, std::array<References, 2>> references_;         // by frame number; of fields by parity
};

} // namespace kelvcpx::test
