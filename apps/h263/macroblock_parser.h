// The macroblock and block layers (ITU-T H.263 5.3, 5.4).
#pragma once

#include "common/code_reader.h"
#include "h263/intra_prediction.h"
#include "h263/macroblock.h"

#include <cstddef>
#include <cstdint>

namespace kelvcpx::app::h263 {

class MacroblockParser
{
public:
    explicit MacroblockParser(PictureContext& context);

    // What a GOB or a slice starts with: its quantiser, and a boundary for prediction.
    void startSegment(int quant);

    // Reads the macroblock at the address, and appends its blocks to the pool. Throws DamagedUnit.
    void parse(CodeReader& reader, std::size_t address);

private:
    void readCoded(CodeReader& reader, Macroblock& macroblock, int32_t mcbpc, int column, int row);
    void readQuantChange(CodeReader& reader);
    void readVectors(CodeReader& reader, Macroblock& macroblock, int column, int row) const;
    Vector readVector(CodeReader& reader, Vector predictor) const;
    int readComponent(CodeReader& reader, int predictor) const;
    Vector predictVector(const Macroblock& macroblock, int block, int column, int row) const;
    const Macroblock* usable(int column, int row) const;
    Vector neighbour(int column, int row, std::size_t block, Vector otherwise) const;

    void readBlocks(CodeReader& reader, Macroblock& macroblock, IntraMode mode, int column, int row);
    void readIntraBlock(CodeReader& reader, const Macroblock& macroblock, int number, IntraMode mode,
                        int column, int row);
    void readInterBlock(CodeReader& reader, int quant);
    int quantOf(const Macroblock& macroblock, int block) const;

    PictureContext& context_;
    IntraPredictor intraPredictor_;
    int segment_ = 0;
    int quant_;
};

} // namespace kelvcpx::app::h263
