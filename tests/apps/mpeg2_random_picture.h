// The slices of random MPEG-1 and MPEG-2 pictures (ISO/IEC 11172-2 2.4.2.6, ISO/IEC 13818-2 6.2.4, 6.2.5).
#pragma once

#include "apps/mpeg2_random_block.h"
#include "apps/mpeg2_random_motion.h"

#include <array>
#include <cstdint>

namespace kelvcpx::test {

class PictureWriter
{
public:
    PictureWriter(Draft& draft, const PicturePlan& plan) : draft_(draft), plan_(plan), vectors_(draft, plan)
    {}

    void writeSlices();

private:
    struct Macroblock {
        int32_t type = 0;
        app::mpeg2::MotionType motionType = app::mpeg2::MotionType::none;
        bool fieldDct = false;
        std::array<app::mpeg2::Motion, 2> motion;

        bool has(int32_t flag) const { return (type & flag) != 0; }
    };

    void writeSlice(int first, int last);
    void writeSliceHeader(int row);
    void writeExtraInformation();
    void drawScale();
    int scale() const;

    bool canSkip(int address) const;
    int skipFrom(int address, int last); // how many macroblocks
    void writeIncrement(int increment);

    void writeMacroblock(int address);
    void drawType(Macroblock& macroblock);
    bool typeIsAllowed(int32_t type) const;
    void drawMotion(Macroblock& macroblock, int address);
    app::mpeg2::MotionType drawMotionType(const Macroblock& macroblock);
    app::mpeg2::MotionType motionTypeOfPicture() const;
    void writeModes(const Macroblock& macroblock);
    void writeMotion(const Macroblock& macroblock);
    unsigned writePattern();
    void writeBlocks(const Macroblock& macroblock, unsigned pattern);
    int blockCount() const { return plan_.sequence.chroma == app::ChromaFormat::yuv420 ? 6 : 8; }
    int xOf(int address) const { return 16 * (address % plan_.macroblocksWide()); }
    int yOf(int address) const { return 16 * (address / plan_.macroblocksWide()); }
    void resetDc();
    void note(const Macroblock& macroblock);

    Draft& draft_;
    const PicturePlan& plan_;
    VectorWriter vectors_;
    std::array<int, 3> dcPredictors_{};
    int scaleCode_ = 1;
    bool intraSlice_ = false;
    int32_t previousType_ = 0;
};

} // namespace kelvcpx::test
