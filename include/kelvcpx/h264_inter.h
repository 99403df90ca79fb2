/**
 * @file
 */
#ifndef KELVCPX_H264_INTER_H
#define KELVCPX_H264_INTER_H

#include <kelvcpx/types.h>

typedef struct InterpolationParams16u {
    const uint16_t* pSrc;
    int32_t srcStep;
    uint16_t* pDst;
    int32_t dstStep;
    int32_t dx;
    int32_t dy;
    RoiSize roiSize;
    int32_t bitDepth;
} InterpolationParams16u;

typedef struct BidirParams16u {
    const uint16_t* pSrc1;
    int32_t src1Step;
    const uint16_t* pSrc2;
    int32_t src2Step;
    uint16_t* pDst;
    int32_t dstStep;
    RoiSize roiSize;
    int32_t bitDepth;
} BidirParams16u;

typedef struct DeblockingParams {
    uint8_t* pSrcDstPlane;
    int32_t srcDstStep;
    const uint8_t* pAlpha;
    const uint8_t* pBeta;
    const uint8_t* pThresholds;
    const uint8_t* pBs;
} DeblockingParams;

typedef struct DeblockingParams16u {
    uint16_t* pSrcDstPlane;
    int32_t srcDstStep;
    const uint16_t* pAlpha;
    const uint16_t* pBeta;
    const uint16_t* pThresholds;
    const uint8_t* pBs;
    int32_t bitDepth;
} DeblockingParams16u;

KEL_API Status keliInterpolateLuma_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                               int32_t dstStep, int32_t dx, int32_t dy,
                                               RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliInterpolateChroma_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                 int32_t dstStep, int32_t dx, int32_t dy,
                                                 RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliInterpolateLuma_H264_16u_C1R(const InterpolationParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status keliInterpolateChroma_H264_16u_C1R(const InterpolationParams16u* pParams) KEL_NOEXCEPT;

KEL_API Status keliInterpolateLumaTop_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                  int32_t dstStep, int32_t dx, int32_t dy, int32_t outPixels,
                                                  RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliInterpolateLumaBottom_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                     int32_t dstStep, int32_t dx, int32_t dy,
                                                     int32_t outPixels, RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliInterpolateChromaTop_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                    int32_t dstStep, int32_t dx, int32_t dy,
                                                    int32_t outPixels, RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliInterpolateChromaBottom_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                       int32_t dstStep, int32_t dx, int32_t dy,
                                                       int32_t outPixels, RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliInterpolateLumaTop_H264_16u_C1R(const InterpolationParams16u* pParams,
                                                   int32_t outPixels) KEL_NOEXCEPT;
KEL_API Status keliInterpolateLumaBottom_H264_16u_C1R(const InterpolationParams16u* pParams,
                                                      int32_t outPixels) KEL_NOEXCEPT;
KEL_API Status keliInterpolateChromaTop_H264_16u_C1R(const InterpolationParams16u* pParams,
                                                     int32_t outPixels) KEL_NOEXCEPT;
KEL_API Status keliInterpolateChromaBottom_H264_16u_C1R(const InterpolationParams16u* pParams,
                                                        int32_t outPixels) KEL_NOEXCEPT;
KEL_API Status keliExpandPlane_H264_8u_C1R(uint8_t* pSrcDst, int32_t width, int32_t height,
                                           int32_t srcDstStep, int32_t expandPels,
                                           int32_t fieldMode) KEL_NOEXCEPT;

KEL_API Status keliInterpolateBlock_H264_8u_P2P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                                  uint32_t width, uint32_t height,
                                                  uint32_t step) KEL_NOEXCEPT;
KEL_API Status keliInterpolateBlock_H264_8u_P3P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                                  uint32_t width, uint32_t height, int32_t src1Step,
                                                  int32_t src2Step, int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliBidir_H264_16u_P2P1R(const BidirParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status keliUniDirWeightBlock_H264_8u_C1IR(uint8_t* pSrcDst, uint32_t srcDstStep, uint32_t log2Wd,
                                                  int32_t weight, int32_t offset,
                                                  RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliUniDirWeightBlock_H264_8u_C1R(uint8_t* pSrcDst, uint32_t srcDstStep, uint32_t log2Wd,
                                                 int32_t weight, int32_t offset,
                                                 RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliUnidirWeight_H264_16u_IP2P1R(uint16_t* pSrcDst, uint32_t srcDstStep, int32_t log2Wd,
                                                int32_t weight, int32_t offset, RoiSize roiSize,
                                                int32_t bitDepth) KEL_NOEXCEPT;
KEL_API Status keliBiDirWeightBlock_H264_8u_P2P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                                  uint32_t srcStep, uint32_t dstStep, int32_t log2Wd,
                                                  int32_t w1, int32_t o1, int32_t w2, int32_t o2,
                                                  RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliBiDirWeightBlock_H264_8u_P3P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                                  uint32_t src1Step, uint32_t src2Step, uint32_t dstStep,
                                                  int32_t log2Wd, int32_t w1, int32_t o1, int32_t w2,
                                                  int32_t o2, RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliBidirWeight_H264_16u_P2P1R(const BidirParams16u* pParams, int32_t log2Wd, int32_t w1,
                                              int32_t o1, int32_t w2, int32_t o2) KEL_NOEXCEPT;
KEL_API Status keliBiDirWeightBlockImplicit_H264_8u_P2P1R(const uint8_t* pSrc1, const uint8_t* pSrc2,
                                                          uint8_t* pDst, int32_t srcStep, int32_t dstStep,
                                                          int32_t w1, int32_t w2,
                                                          RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliBiDirWeightBlockImplicit_H264_8u_P3P1R(const uint8_t* pSrc1, const uint8_t* pSrc2,
                                                          uint8_t* pDst, int32_t src1Step, int32_t src2Step,
                                                          int32_t dstStep, int32_t w1, int32_t w2,
                                                          RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliBidirWeightImplicit_H264_16u_P2P1R(const BidirParams16u* pParams, int32_t w1,
                                                      int32_t w2) KEL_NOEXCEPT;
KEL_API Status keliWeightedAverage_H264_8u_C1IR(const uint8_t* pSrc1, uint8_t* pSrcDst, int32_t step,
                                                int32_t w1, int32_t w2, int32_t shift, int32_t offset,
                                                RoiSize roiSize) KEL_NOEXCEPT;

KEL_API Status keliFilterDeblockingLuma_VerEdge_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                             const uint8_t* pAlpha, const uint8_t* pBeta,
                                                             const uint8_t* pThresholds,
                                                             const uint8_t* pBs) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingLuma_HorEdge_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                             const uint8_t* pAlpha, const uint8_t* pBeta,
                                                             const uint8_t* pThresholds,
                                                             const uint8_t* pBs) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChroma_VerEdge_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                               const uint8_t* pAlpha, const uint8_t* pBeta,
                                                               const uint8_t* pThresholds,
                                                               const uint8_t* pBs) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChroma_HorEdge_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                               const uint8_t* pAlpha, const uint8_t* pBeta,
                                                               const uint8_t* pThresholds,
                                                               const uint8_t* pBs) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingLuma_VerEdge_MBAFF_H264_8u_C1IR(uint8_t* pSrcDstPlane, int32_t srcDstStep,
                                                                   uint32_t alpha, uint32_t beta,
                                                                   const uint8_t* pThresholds,
                                                                   const uint8_t* pBs) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChroma_VerEdge_MBAFF_H264_8u_C1IR(uint8_t* pSrcDstPlane,
                                                                     int32_t srcDstStep, uint32_t alpha,
                                                                     uint32_t beta,
                                                                     const uint8_t* pThresholds,
                                                                     const uint8_t* pBs) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChroma422VerEdge_H264_8u_IP1R(const DeblockingParams* pParams) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChroma422HorEdge_H264_8u_IP1R(const DeblockingParams* pParams) KEL_NOEXCEPT;
KEL_API Status
keliFilterDeblockingChroma422VerEdgeMBAFF_H264_8u_IP1R(const DeblockingParams* pParams) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingLumaVerEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingLumaHorEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status
keliFilterDeblockingLumaVerEdgeMBAFF_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status
keliFilterDeblockingChromaVerEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status
keliFilterDeblockingChromaHorEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status
keliFilterDeblockingChromaVerEdgeMBAFF_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status
keliFilterDeblockingChroma422VerEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status
keliFilterDeblockingChroma422HorEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status
keliFilterDeblockingChroma422VerEdgeMBAFF_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;

#endif
