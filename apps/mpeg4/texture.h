// The coefficients of macroblocks, from the stream to samples.
#pragma once

#include "mpeg4/intra_prediction.h"
#include "mpeg4/vop.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::mpeg4 {

class TextureDecoder
{
public:
    explicit TextureDecoder(const VopContext& context) : context_(context), intra_(context) {}

    // Reads the blocks of a macroblock and makes samples of them: those of an intra macroblock, or what is
    // added to the prediction of an inter macroblock, which is in the picture.
    void decode(CodeReader& reader, const Macroblock& macroblock);

    // The levels of a macroblock in scan order, for later.
    struct Levels {
        alignas(32) std::array<std::array<int16_t, 64>, 6> blocks;
        std::array<int32_t, 6> last;
    };

    // Reads the blocks of a macroblock backwards, from its end in the stream. Throws DamagedUnit where that
    // is not possible; the reader is anywhere then.
    void readBackward(CodeReader& reader, const Macroblock& macroblock, Levels& levels) const;

    // Does with levels what decode() does with those that it reads.
    void reconstruct(const Macroblock& macroblock, const Levels& levels);

    // Makes samples of an intra macroblock whose coefficients are lost, of the DC alone.
    void reconstructDc(const Macroblock& macroblock);

private:
    using Block = std::array<int16_t, 64>;

    struct BlockPlace {
        uint8_t* samples;
        int32_t step;
    };

    void decodeIntra(CodeReader& reader, const Macroblock& macroblock, std::size_t i);
    void decodeInter(CodeReader& reader, const Macroblock& macroblock, std::size_t i) const;
    void reconstructIntra(const Macroblock& macroblock, std::size_t i, const IntraPredictor::Source& source,
                          Block& levels, int32_t last);
    void addInter(const Macroblock& macroblock, std::size_t i, Block& coefficients, int32_t last) const;
    BlockPlace placeOf(const Macroblock& macroblock, std::size_t i) const;
    int32_t intraScan(const Macroblock& macroblock, const IntraPredictor::Source& source) const;

    const VopContext& context_;
    IntraPredictor intra_;
};

} // namespace kelvcpx::app::mpeg4
