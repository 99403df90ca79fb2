/**
 * @file
 * H.264 (ITU-T H.264 | ISO/IEC 14496-10) for encoders: transforms and quantisation of residuals, and the
 * numbers that CAVLC codes of a block. Clause and table numbers are those of ITU-T H.264.
 *
 * @par One block
 * 1. Take the difference between the block and its prediction (metrics.h).
 * 2. Transform and quantise it: keliTransformQuantResidual_H264_16s_C1I(), or
 *    keliTransformLuma8x8Fwd_H264_16s_C1I() and keliQuantLuma8x8_H264_16s_C1(). The levels are in raster
 *    order, which is that of the packed coefficients of h264_residual.h: reconstruct with the operations
 *    there, so that the prediction of what follows is the decoder's.
 * 3. Analyse the levels with keliEncodeCoeffsCAVLC_H264_16s() and write the codes.
 *
 * The DC coefficient of a block is the sum of its residuals: those of Intra_16x16 and of chroma, which are
 * coded apart, come from keliSumsDiff16x16Blocks4x4_8u16s_C1() and keliSumsDiff8x8Blocks4x4_8u16s_C1(), and
 * go to the operations for DC. In the blocks themselves the level of the DC is left unused.
 *
 * @par Blocks
 * A block is an array of signed 16-bit values in raster order, without gaps: 16 for a 4x4 block or the DC
 * coefficients of Intra_16x16 (in the order of the blocks in the picture), 4 for the DC coefficients of a
 * chroma component of 4:2:0, 64 for an 8x8 block. No alignment is needed. Sums of transforms that need more
 * than 16 bits keep their low 16 bits; those of 8-bit samples' differences never do.
 */
#ifndef KELVCPX_H264_ENCODE_H
#define KELVCPX_H264_ENCODE_H

#include <kelvcpx/types.h>

/**
 * @name Transform and quantisation of 4x4 blocks and of DC coefficients
 *
 * A level is the coefficient c divided by the quantiser step and rounded down towards 0, after an offset that
 * is smaller than half a step (a dead zone):
 *
 *     level = sign(c) * ((|c| * F + offset) >> qbits)
 *
 * | operation                | c                                            | qbits       | offset      |
 * |--------------------------|----------------------------------------------|-------------|-------------|
 * | TransformQuantResidual   | 4x4 core transform of the residuals, the     | 15 + QP / 6 | 2^qbits / 3 |
 * |                          | counterpart of 8.5.12.2                      |             |             |
 * | TransformQuantLumaDC     | `pTransformed`: 4x4 Hadamard transform as in | 16 + QP / 6 | 2^qbits / 3 |
 * |                          | 8.5.10, halved (>> 1)                        |             |             |
 * | TransformQuantChromaDC   | `pTransformed`: 2x2 Hadamard transform as in | 16 + QP / 6 | 2^qbits / 3 |
 * |                          | 8.5.11.1                                     |             |             |
 *
 * Where `isIntra` is an argument and 0, the offset is 2^qbits / 6.
 *
 * F depends on QP % 6 and on the place of the coefficient: whether its row and its column are even. All DC
 * coefficients have the factor of the first column:
 *
 * | QP % 6 | both even | both odd | one even |
 * |--------|-----------|----------|----------|
 * | 0      | 13107     | 5243     | 8066     |
 * | 1      | 11916     | 4660     | 7490     |
 * | 2      | 10082     | 4194     | 6554     |
 * | 3      | 9362      | 3647     | 5825     |
 * | 4      | 8192      | 3355     | 5243     |
 * | 5      | 7282      | 2893     | 4559     |
 *
 * @param pSrcDst       16 residuals in, 16 levels out; or 16 or 4 DC coefficients in, as many levels out.
 *                      With `needTransform` 0 the DC operations do not read it
 * @param pTransformed  16 or 4 transformed DC coefficients: written, or read if `needTransform` is 0. Must
 *                      not overlap `pSrcDst`
 * @param QP            quantiser QP'Y, or QP'C of chroma DC
 * @param pNumLevels    receives the number of levels that are not 0; negated, as an unsigned number 256 minus
 *                      it, if the first of them, that of the DC, is one of those
 * @param isIntra       0 for the offset of inter blocks, not 0 for that of intra blocks
 * @param needTransform 0 if `pTransformed` holds the transformed coefficients already
 * @param pScanPos      scan position of each coefficient, in raster order, 16 values
 * @param pLastPos      receives the largest scan position of a level that is not 0, or 0 if there is none
 *
 * @retval StatusOk            done
 * @retval StatusNullPointer   a pointer is null
 * @retval StatusOutOfRange    QP is outside 0..51, of chroma DC outside 0..39
 * @retval StatusLevelTooLarge a level has a magnitude above 2063, the largest that every profile can code
 *                             wherever it comes (9.2.2.1). `pTransformed` and the levels before that one are
 *                             written; from it on `pSrcDst` holds the transformed coefficients
 *                             (TransformQuantResidual), or what it held before (the DC operations).
 *                             `*pNumLevels` and `*pLastPos` are unspecified
 * @{
 */
KEL_API Status keliTransformQuantResidual_H264_16s_C1I(int16_t* pSrcDst, int32_t QP, uint8_t* pNumLevels,
                                                       uint8_t isIntra, const int16_t* pScanPos,
                                                       uint8_t* pLastPos) KEL_NOEXCEPT;
KEL_API Status keliTransformQuantLumaDC_H264_16s_C1I(int16_t* pSrcDst, int16_t* pTransformed, int32_t QP,
                                                     uint8_t* pNumLevels, uint8_t needTransform,
                                                     const int16_t* pScanPos, uint8_t* pLastPos) KEL_NOEXCEPT;
KEL_API Status keliTransformQuantChromaDC_H264_16s_C1I(int16_t* pSrcDst, int16_t* pTransformed, int32_t QP,
                                                       uint8_t* pNumLevels, uint8_t isIntra,
                                                       uint8_t needTransform) KEL_NOEXCEPT;
/** @} */

/**
 * Transforms an 8x8 block of residuals: the counterpart of the inverse transform of 8.5.13, all rows, then
 * all columns, without scaling.
 *
 * @param pSrcDst 64 residuals in, 64 coefficients out
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrcDst` is null
 */
KEL_API Status keliTransformLuma8x8Fwd_H264_16s_C1I(int16_t* pSrcDst) KEL_NOEXCEPT;

/**
 * Quantises the coefficients of an 8x8 block:
 *
 *     level = sign(c) * ((|c| * scale + R) >> (12 + qpPer))
 *
 * with R = 682 << (qpPer + 1) for intra blocks, a third of a step, and 342 << (qpPer + 1) for inter blocks, a
 * sixth. Levels have no limit; their low 16 bits are stored.
 *
 * @param pSrc        64 coefficients
 * @param pDst        receives 64 levels; may be `pSrc`
 * @param qpPer       QP / 6, 0..8
 * @param isIntra     0 for the rounding of inter blocks, not 0 for that of intra blocks
 * @param pScanPos    scan position of each coefficient, in raster order, 64 values
 * @param pQuantScale 64 factors for QP % 6 in raster order: those of keliGenScaleLevel8x8_H264_8u16s_D2() for
 *                    the weights of the scaling list
 * @param pNumLevels  receives the number of levels that are not 0, negated if the first of them, that of the
 *                    DC, is one of those
 * @param pLastPos    receives the largest scan position of a level that is not 0, or 0 if there is none
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  a pointer is null
 * @retval StatusBadQuantizer `qpPer` is outside 0..8
 */
KEL_API Status keliQuantLuma8x8_H264_16s_C1(const int16_t* pSrc, int16_t* pDst, int32_t qpPer,
                                            int32_t isIntra, const int16_t* pScanPos,
                                            const int16_t* pQuantScale, int32_t* pNumLevels,
                                            int32_t* pLastPos) KEL_NOEXCEPT;

/**
 * @name Analysis for CAVLC
 *
 * Find what residual_block_cavlc (7.3.5.3.2) codes of a block of levels, in the order in which it does, from
 * the highest frequency down. They write no bits.
 *
 * keliEncodeCoeffsCAVLC_H264_16s() takes the levels at the scan positions `lastPos` down to `firstPos`. With
 * `lastPos` the position of the last level that is not 0, as the quantisation reports it, the results are the
 * syntax elements; with a higher one too, since zeros behind that level do not count. Of a block without a
 * level only zeros are found, and total_zeros is their number, which is not coded.
 * keliEncodeChromaDcCoeffsCAVLC_H264_16s() takes the four DC levels of a chroma component of 4:2:0.
 *
 * @param pCoeffs           16 levels in raster order; or 4
 * @param firstPos          first scan position of the block: 0, or 1 for a block without its DC
 * @param pScan             raster index 0..15 for each scan position; only `firstPos`..`lastPos` are read
 * @param lastPos           last scan position to look at, 15 at most
 * @param pTrailingOnes     receives TrailingOnes, 0..3
 * @param pTrailingOneSigns receives their signs, one bit each, 1 for -1; the first that is coded, of the
 *                          highest frequency, is the most significant of the TrailingOnes bits
 * @param pTotalCoeff       receives TotalCoeff
 * @param pTotalZeros       receives total_zeros, the zeros below the last level
 * @param pLevels           receives the levels that are no trailing ones, in coding order: TotalCoeff -
 *                          TrailingOnes values
 * @param pRuns             receives run_before of each level but the last to be coded, the trailing ones
 *                          included: TotalCoeff - 1 values
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @retval StatusOutOfRange  `lastPos` is above 15, or `firstPos` above `lastPos`
 * @{
 */
KEL_API Status keliEncodeCoeffsCAVLC_H264_16s(const int16_t* pCoeffs, uint8_t firstPos, const uint32_t* pScan,
                                              uint8_t lastPos, uint8_t* pTrailingOnes,
                                              uint8_t* pTrailingOneSigns, uint8_t* pTotalCoeff,
                                              uint8_t* pTotalZeros, int16_t* pLevels,
                                              uint8_t* pRuns) KEL_NOEXCEPT;
KEL_API Status keliEncodeChromaDcCoeffsCAVLC_H264_16s(const int16_t* pCoeffs, uint8_t* pTrailingOnes,
                                                      uint8_t* pTrailingOneSigns, uint8_t* pTotalCoeff,
                                                      uint8_t* pTotalZeros, int16_t* pLevels,
                                                      uint8_t* pRuns) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_H264_ENCODE_H */
