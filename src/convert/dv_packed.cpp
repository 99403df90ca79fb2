// Decoded DV macroblocks into packed 4:2:2 pictures.

#include "convert/dv_full.h"
#include "convert/dv_reduced.h"
#include "core/arguments.h"

#include <kelvcpx/convert.h>

#include <cstddef>

namespace kelvcpx::convert {
namespace {

template <class Layout, int factor>
void convertMacroblock(const int16_t* src, uint8_t* dst, std::ptrdiff_t step)
{
    if constexpr (factor == 1)
        convertFull(Layout{}, Macroblock{src}, dst, step);
    else
        convertReduced<Layout, factor>(Macroblock{src}, dst, step);
}

// Ends at a macroblock that is not there.
template <int factor>
Status convert411(const int16_t** ppSrc, uint8_t** ppDst, int32_t dstStep)
{
    if (anyNull(ppSrc, ppDst))
        return StatusNullPointer;
    for (int i = 0; i < segmentMacroblocks && ppSrc[i] != nullptr; i++)
        convertMacroblock<Row411, factor>(ppSrc[i], ppDst[i], dstStep);
    return StatusOk;
}

template <int factor>
Status convertEdge411(const int16_t* pSrc, uint8_t* pDst, int32_t dstStep)
{
    if (anyNull(pSrc, pDst))
        return StatusNullPointer;
    convertMacroblock<Edge411, factor>(pSrc, pDst, dstStep);
    return StatusOk;
}

template <int factor>
Status convert420(const int16_t** ppSrc, uint8_t** ppDst, int32_t dstStep)
{
    if (anyNull(ppSrc, ppDst))
        return StatusNullPointer;
    for (int i = 0; i < segmentMacroblocks; i++)
        convertMacroblock<Square420, factor>(ppSrc[i], ppDst[i], dstStep);
    return StatusOk;
}

template <int factor>
Status convert422(const int16_t** ppSrc, uint8_t** ppDst, int32_t dstStep)
{
    for (int i = 0; i < segmentMacroblocks; i++) {
        if (anyNull(ppSrc[i], ppDst[i]))
            return StatusNullPointer;
        convertMacroblock<Row422, factor>(ppSrc[i], ppDst[i], dstStep);
    }
    return StatusOk;
}

} // namespace
} // namespace kelvcpx::convert

using namespace kelvcpx;
using namespace kelvcpx::convert;

Status keliYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                int32_t dstStep) noexcept
{
    return convert411<1>(ppSrc, ppDst, dstStep);
}

Status keliYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                         int32_t dstStep) noexcept
{
    return convert411<2>(ppSrc, ppDst, dstStep);
}

Status keliYCrCb411ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                         int32_t dstStep) noexcept
{
    return convert411<4>(ppSrc, ppDst, dstStep);
}

Status keliYCrCb411ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst) noexcept
{
    if (anyNull(ppSrc, ppDst))
        return StatusNullPointer;
    for (int i = 0; i < segmentMacroblocks; i++)
        if (ppDst[i] != nullptr)
            convertMacroblock<Row411, 8>(ppSrc[i], ppDst[i], 0);
    return StatusOk;
}

Status keliYCrCb411ToYCbCr422_EdgeDV_16s8u_P3C2R(const int16_t* pSrc, uint8_t* pDst, int32_t dstStep) noexcept
{
    return convertEdge411<1>(pSrc, pDst, dstStep);
}

Status keliYCrCb411ToYCbCr422_ZoomOut2_EdgeDV_16s8u_P3C2R(const int16_t* pSrc, uint8_t* pDst,
                                                          int32_t dstStep) noexcept
{
    return convertEdge411<2>(pSrc, pDst, dstStep);
}

Status keliYCrCb411ToYCbCr422_ZoomOut4_EdgeDV_16s8u_P3C2R(const int16_t* pSrc, uint8_t* pDst,
                                                          int32_t dstStep) noexcept
{
    return convertEdge411<4>(pSrc, pDst, dstStep);
}

Status keliYCrCb411ToYCbCr422_ZoomOut8_EdgeDV_16s8u_P3C2R(const int16_t* pSrc, uint8_t* pDst,
                                                          int32_t dstStep) noexcept
{
    return convertEdge411<8>(pSrc, pDst, dstStep);
}

Status keliYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                int32_t dstStep) noexcept
{
    return convert420<1>(ppSrc, ppDst, dstStep);
}

Status keliYCrCb420ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                         int32_t dstStep) noexcept
{
    return convert420<2>(ppSrc, ppDst, dstStep);
}

Status keliYCrCb420ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                         int32_t dstStep) noexcept
{
    return convert420<4>(ppSrc, ppDst, dstStep);
}

Status keliYCrCb420ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                         int32_t dstStep) noexcept
{
    return convert420<8>(ppSrc, ppDst, dstStep);
}

Status keliYCrCb422ToYCbCr422_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                int32_t dstStep) noexcept
{
    return convert422<1>(ppSrc, ppDst, dstStep);
}

Status keliYCrCb422ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                         int32_t dstStep) noexcept
{
    return convert422<2>(ppSrc, ppDst, dstStep);
}

Status keliYCrCb422ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                         int32_t dstStep) noexcept
{
    return convert422<4>(ppSrc, ppDst, dstStep);
}

Status keliYCrCb422ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst) noexcept
{
    return convert422<8>(ppSrc, ppDst, 0);
}
