// Chroma of 4:2:2 pictures, whatever their bit depth.

#include "h264/macroblock_checks.h"
#include "h264/records.h"

#include <array>

namespace kelvcpx::h264 {
namespace {

// The coded blocks of both components.
constexpr uint64_t joined(uint32_t cbpLow, uint32_t cbpHigh)
{
    return uint64_t{cbpHigh} << 32 | cbpLow;
}

// The reserved operations only look at their pointers.
Status checkReserved(int16_t** ppSrcCoeff, const uint8_t* pSrcDstCb, const uint8_t* pSrcDstCr,
                     const int16_t* pLevelScaleCb, const int16_t* pLevelScaleCr)
{
    return hasNull(ppSrcCoeff, pSrcDstCb, pSrcDstCr, pLevelScaleCb, pLevelScaleCr) ? StatusNullPointer
                                                                                   : StatusOk;
}

} // namespace
} // namespace kelvcpx::h264

using namespace kelvcpx;
using namespace kelvcpx::h264;

Status keliReconstructChroma422Intra4x4_H264High_16s8u_IP2R(const BlockReconParams8u* const* ppParams,
                                                            uint32_t mode, uint8_t edgeFlags,
                                                            int16_t dcScaleCb, int16_t dcScaleCr) noexcept
{
    return reconstructIntraPair(ppParams, mode, edgeFlags, Records422{{dcScaleCb, dcScaleCr}});
}

Status keliReconstructChroma422IntraHalf4x4_H264High_16s8u_IP2R(const BlockReconParams8u* const* ppParams,
                                                                uint32_t mode, uint8_t edgeFlagsUpper,
                                                                uint8_t edgeFlagsLower, int16_t dcScaleCb,
                                                                int16_t dcScaleCr) noexcept
{
    return reconstructIntraHalfPair(ppParams, mode, edgeFlagsUpper, edgeFlagsLower,
                                    Records422{{dcScaleCb, dcScaleCr}});
}

Status keliReconstructChroma422Inter4x4_H264High_16s8u_IP2R(const BlockReconParams8u* const* ppParams,
                                                            int16_t dcScaleCb, int16_t dcScaleCr) noexcept
{
    return reconstructInterPair(ppParams, Records422{{dcScaleCb, dcScaleCr}});
}

Status keliReconstructChroma422Intra4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams,
                                                             uint32_t mode, uint8_t edgeFlags,
                                                             int16_t dcScaleCb, int16_t dcScaleCr) noexcept
{
    return reconstructIntraPair(ppParams, mode, edgeFlags, Records422{{dcScaleCb, dcScaleCr}});
}

Status keliReconstructChroma422IntraHalf4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams,
                                                                 uint32_t mode, uint8_t edgeFlagsUpper,
                                                                 uint8_t edgeFlagsLower, int16_t dcScaleCb,
                                                                 int16_t dcScaleCr) noexcept
{
    return reconstructIntraHalfPair(ppParams, mode, edgeFlagsUpper, edgeFlagsLower,
                                    Records422{{dcScaleCb, dcScaleCr}});
}

Status keliReconstructChroma422Inter4x4_H264High_32s16u_IP2R(const BlockReconParams* const* ppParams,
                                                             int16_t dcScaleCb, int16_t dcScaleCr) noexcept
{
    return reconstructInterPair(ppParams, Records422{{dcScaleCb, dcScaleCr}});
}

Status keliReconstructChromaIntra4x4MB422_H264_16s8u_P2R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDstCb, uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t mode,
    uint32_t cbpLow, uint32_t cbpHigh, int32_t QPcb, int32_t QPcr, int16_t dcScaleCb, int16_t dcScaleCr,
    uint8_t edgeFlags, const int16_t* pLevelScaleCb, const int16_t* pLevelScaleCr, uint8_t bypass) noexcept
{
    const uint64_t cbp = joined(cbpLow, cbpHigh);
    const BlockReconParams8u cb{ppSrcCoeff, pSrcDstCb,     srcDstStep, codedOf<Chroma422>(0, cbp),
                                QPcb,       pLevelScaleCb, bypass,     8};
    const BlockReconParams8u cr{ppSrcCoeff, pSrcDstCr,     srcDstStep, codedOf<Chroma422>(1, cbp),
                                QPcr,       pLevelScaleCr, bypass,     8};
    const std::array pair = {&cb, &cr};
    return reconstructIntraPair(pair.data(), mode, edgeFlags, Records422{{dcScaleCb, dcScaleCr}});
}

Status keliReconstructChromaInter4x4MB422_H264_16s8u_P2R(
    int16_t** ppSrcCoeff, uint8_t* pSrcDstCb, uint8_t* pSrcDstCr, int32_t srcDstStep, uint32_t cbpLow,
    uint32_t cbpHigh, int32_t QPcb, int32_t QPcr, int16_t dcScaleCb, int16_t dcScaleCr,
    const int16_t* pLevelScaleCb, const int16_t* pLevelScaleCr, uint8_t bypass) noexcept
{
    const uint64_t cbp = joined(cbpLow, cbpHigh);
    const BlockReconParams8u cb{ppSrcCoeff, pSrcDstCb,     srcDstStep, codedOf<Chroma422>(0, cbp),
                                QPcb,       pLevelScaleCb, bypass,     8};
    const BlockReconParams8u cr{ppSrcCoeff, pSrcDstCr,     srcDstStep, codedOf<Chroma422>(1, cbp),
                                QPcr,       pLevelScaleCr, bypass,     8};
    const std::array pair = {&cb, &cr};
    return reconstructInterPair(pair.data(), Records422{{dcScaleCb, dcScaleCr}});
}

Status keliReconstructChromaIntraHalfs4x4MB422_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                              uint8_t* pSrcDstCr, int32_t, uint32_t, uint32_t,
                                                              uint32_t, int32_t, int32_t, int16_t, int16_t,
                                                              uint8_t, uint8_t, const int16_t* pLevelScaleCb,
                                                              const int16_t* pLevelScaleCr, uint8_t) noexcept
{
    return checkReserved(ppSrcCoeff, pSrcDstCb, pSrcDstCr, pLevelScaleCb, pLevelScaleCr);
}

Status keliReconstructChromaIntraHalfs4x4MB444_H264_16s8u_P2R(int16_t** ppSrcCoeff, uint8_t* pSrcDstCb,
                                                              uint8_t* pSrcDstCr, int32_t, uint32_t, uint32_t,
                                                              uint32_t, int32_t, int32_t, int16_t, int16_t,
                                                              uint8_t, uint8_t, const int16_t* pLevelScaleCb,
                                                              const int16_t* pLevelScaleCr, uint8_t) noexcept
{
    return checkReserved(ppSrcCoeff, pSrcDstCb, pSrcDstCr, pLevelScaleCb, pLevelScaleCr);
}
