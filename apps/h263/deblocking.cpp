#include "h263/deblocking.h"

#include "h263/code_tables.h"

#include <kelvcpx/h263_filter.h>

namespace kelvcpx::app::h263 {
namespace {

// The quantiser for the edge between two blocks, `before` above or on the left: that of the block behind the
// edge if it is coded, otherwise of the one before. 0 if neither is: the edge is not filtered (J.3).
int quantOfEdge(const Macroblock* before, const Macroblock* behind, bool chroma)
{
    const Macroblock* const coded = behind->coded                        ? behind
                                    : before != nullptr && before->coded ? before
                                                                         : nullptr;
    if (coded == nullptr)
        return 0;
    return chroma ? chromaQuant[static_cast<std::size_t>(coded->quant)] : coded->quant;
}

enum class Edges { horizontal, vertical };

template <Edges edges>
void filterPlane(const PictureContext& context, const PaddedFrame::Plane& plane, int blocksPerMacroblock,
                 bool chromaQuantiser)
{
    for (int row = 0; row < plane.height / 8; row++)
        for (int column = 0; column < plane.width / 8; column++) {
            const int beforeRow = edges == Edges::horizontal ? row - 1 : row;
            const int beforeColumn = edges == Edges::vertical ? column - 1 : column;
            if (beforeRow < 0 || beforeColumn < 0)
                continue;
            const Macroblock* const behind =
                context.at(column / blocksPerMacroblock, row / blocksPerMacroblock);
            if (behind == nullptr)
                continue;
            const int quant =
                quantOfEdge(context.at(beforeColumn / blocksPerMacroblock, beforeRow / blocksPerMacroblock),
                            behind, chromaQuantiser);
            if (quant > 0)
                (edges == Edges::horizontal ? keliFilterDeblocking8x8HorEdge_H263_8u_C1IR
                                            : keliFilterDeblocking8x8VerEdge_H263_8u_C1IR)(
                    plane.at(8 * column, 8 * row), plane.step, quant);
        }
}

} // namespace

void deblock(const PictureContext& context, PaddedFrame& frame)
{
    for (std::size_t i = 0; i < 3; i++) {
        const int blocksPerMacroblock = i == 0 ? 2 : 1;
        const bool chromaQuantiser = i > 0 && context.header.modifiedQuantisation;
        filterPlane<Edges::horizontal>(context, frame.plane(i), blocksPerMacroblock, chromaQuantiser);
        filterPlane<Edges::vertical>(context, frame.plane(i), blocksPerMacroblock, chromaQuantiser);
    }
}

} // namespace kelvcpx::app::h263
