// Macroblocks of random MPEG-4 streams: drawn first, then written, in one piece or in partitions.
#pragma once

#include "apps/mpeg4_random_stream.h"
#include "support/random.h"

#include "common/code_writer.h"
#include "mpeg4/headers.h"
#include "mpeg4/vop.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace kelvcpx::test {

// A VOP while it is written.
struct Mpeg4VopPlan {
    const RandomMpeg4Options& options;
    const app::mpeg4::VideoObjectLayer& layer;
    int number; // in coding order
    app::mpeg4::Vop vop;
    bool referenceIsPredicted = false;    // of a B-VOP: the reference behind it is a P-VOP,
    std::vector<bool> codedInReference{}; // whose macroblocks tell which ones have no bits here
};

// A motion vector difference as its two components are coded.
struct VectorCode {
    std::array<int32_t, 2> codes{};
    std::array<uint32_t, 2> residuals{};
};

struct MacroblockPlan {
    bool hasBits = true; // not skipped with its reference
    bool coded = true;
    int stuffing = 0;
    app::mpeg4::MacroblockType type{};
    bool intra = false;
    bool warped = false;
    bool predictsAc = false;
    bool separateDc = false;
    uint32_t quantCode = 0; // dquant or dbquant
    uint32_t pattern = 0;
    bool fieldDct = false;
    bool fieldVectors = false;
    std::array<std::array<uint32_t, 2>, 2> fields{}; // by direction
    std::vector<VectorCode> forward;                 // direct: the difference
    std::vector<VectorCode> backward;
    int32_t bidirectionalType = 0;
    bool hasType = true; // of a B-VOP: modb is not 1
    std::array<int16_t, 6> dc{};
    std::array<std::array<int16_t, 64>, 6> levels{}; // in scan order
};

class Mpeg4MacroblockWriter
{
public:
    Mpeg4MacroblockWriter(const Mpeg4VopPlan& plan, Random& random, RandomMpeg4Stream& stream)
        : plan_(plan), random_(random), stream_(stream)
    {}

    // Draws the macroblocks of a video packet that starts with the quantiser.
    std::vector<MacroblockPlan> draw(int first, int count, int quant);

    void write(app::CodeWriter& out, const std::vector<MacroblockPlan>& macroblocks);

private:
    MacroblockPlan drawForward();
    MacroblockPlan drawBidirectional(int address);
    void drawQuant(MacroblockPlan& macroblock);
    void drawFields(MacroblockPlan& macroblock, bool mayPredict);
    void drawPattern(MacroblockPlan& macroblock);
    void drawBlocks(MacroblockPlan& macroblock);
    int16_t drawDc();
    int16_t exactLevel();
    void drawLevels(std::array<int16_t, 64>& levels, std::size_t first);
    VectorCode drawVector(int fcode);
    std::vector<VectorCode> drawVectors(std::size_t count, int fcode);

    void writeCombined(app::CodeWriter& out, const MacroblockPlan& macroblock);
    void writeBidirectional(app::CodeWriter& out, const MacroblockPlan& macroblock);
    void writePartitions(app::CodeWriter& out, const std::vector<MacroblockPlan>& macroblocks);
    void writeStart(app::CodeWriter& out, const MacroblockPlan& macroblock);
    void writePattern(app::CodeWriter& out, const MacroblockPlan& macroblock);
    void writeQuant(app::CodeWriter& out, const MacroblockPlan& macroblock);
    void writeFields(app::CodeWriter& out, const MacroblockPlan& macroblock, int32_t directions);
    void writeVectors(app::CodeWriter& out, const std::vector<VectorCode>& vectors, int fcode);
    void writeDc(app::CodeWriter& out, const MacroblockPlan& macroblock, std::size_t i);
    void writeLevels(app::CodeWriter& out, const MacroblockPlan& macroblock, std::size_t i);

    bool isIntraVop() const { return plan_.vop.type == app::mpeg4::VopType::intra; }
    bool isBidirectional() const { return plan_.vop.type == app::mpeg4::VopType::bidirectional; }
    void used(const std::string& tool) { stream_.tools[tool]++; }

    const Mpeg4VopPlan& plan_;
    Random& random_;
    RandomMpeg4Stream& stream_;
    int first_ = 0;       // macroblock of the packet
    int macroblocks_ = 0; // of the packet so far
    int quant_ = 1;
    std::optional<int> codedQuant_;
};

} // namespace kelvcpx::test
