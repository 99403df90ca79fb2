// Decides how each macroblock of a picture is coded, and codes it.
#pragma once

#include "common/bit_writer.h"
#include "h264/encoder/coded_macroblock.h"
#include "h264/encoder/inter_coder.h"
#include "h264/encoder/macroblock_writer.h"
#include "h264/encoder/rate.h"
#include "h264/encoder/residual_coder.h"
#include "h264/encoder/samples.h"
#include "h264/slice_context.h"

#include <cstdint>
#include <optional>

namespace kelvcpx::app::h264::encoder {

// Candidates are coded one after the other in the place that the macroblock has in the picture. The one stays
// whose squared error and bits together are least.
class MacroblockEncoder
{
public:
    struct Task {
        PictureContext& picture; // with the surface for the reconstruction
        const Surface& source;
        std::optional<InterReference> reference; // of P pictures
        int qp;
        bool transform8x8; // 8x8 transform and Intra_8x8
    };

    MacroblockEncoder(const Task& task, BitWriter& bits);

    // In the order of their addresses.
    void encode(int address);

    // Ends the slice data.
    void finish();

private:
    bool isP() const { return task_.reference.has_value(); }
    LayerContext layerContext() const { return {task_.picture, isP(), task_.transform8x8}; }

    void tryInter();
    bool tryMotion(const InterCoder& coder, CodedMacroblock macroblock);
    void tryIntra(int costToBeat);
    void consider(const CodedMacroblock& macroblock);
    int64_t squaredError() const;
    void write();
    void writePcm();
    void endSkipRun();

    Task task_;
    BitWriter& bits_;
    Lambda lambda_;
    ResidualCoder residual_;
    uint32_t skipRun_ = 0;

    // Of the macroblock that is being encoded.
    int address_ = 0;
    std::optional<MacroblockSamples> samples_;
    CodedMacroblock best_;
    double bestCost_ = 0;
    SampleStore bestSamples_;
};

} // namespace kelvcpx::app::h264::encoder
