/**
 * @file
 * H.264 (ITU-T H.264 | ISO/IEC 14496-10): the single steps of residual decoding for 8-bit pictures, for
 * decoders that do not reconstruct whole macroblocks with the operations of h264_residual.h, and those of SP
 * and SI slices. Clause and table numbers are those of ITU-T H.264.
 *
 * @par Blocks
 * A block is an array of signed 16-bit values in raster order, without gaps unless a step is given: 16 for a
 * 4x4 block or the DC coefficients of Intra_16x16 (in the order of the blocks in the picture), 4 for the DC
 * coefficients of a chroma component of 4:2:0, 64 for an 8x8 block. Row is the vertical frequency. No
 * alignment is needed, and steps are in bytes, for blocks of coefficients too. Steps that are not checked may
 * have any value.
 *
 * @par Scaling
 * The factors are those of flat scaling lists: with m = QP % 6, LevelScale(QP, k) = normAdjust4x4(m, i, j) <<
 * (QP / 6) for raster position k = 4 * i + j (8.5.9, without the 16 of the flat list).
 *
 * @par Overflow
 * Input may have any value. A result that needs more than 16 bits is stored with its low 16 bits, and so are
 * the scaled coefficients and the results of rows on the way to it, except where something else is said;
 * streams that follow the standard never come to that (8.5.12.2).
 */
#ifndef KELVCPX_H264_TRANSFORM_H
#define KELVCPX_H264_TRANSFORM_H

#include <kelvcpx/types.h>

/**
 * @name DC coefficients
 *
 * Transform the DC coefficients of Intra_16x16 (8.5.10) or of a chroma component of 4:2:0 (8.5.11) and scale
 * them, in place. Each result is coefficient 0 of its block, `pDC` of the operations below.
 *
 * | operation | transform                                       | scaling of f                              |
 * |-----------|-------------------------------------------------|-------------------------------------------|
 * | LumaDC    | 4x4 Hadamard                                    | QP < 12: (f * v + s) >> s with v =        |
 * |           |                                                 | normAdjust4x4(m, 0, 0) and s = 2 - QP / 6;|
 * |           |                                                 | else f * v << (QP / 6 - 2)                |
 * | ChromaDC  | c0 + c1 + c2 + c3, c0 - c1 + c2 - c3,           | (f * LevelScale(QP, 0)) >> 1              |
 * |           | c0 + c1 - c2 - c3, c0 - c1 - c2 + c3            |                                           |
 *
 * @param pSrcDst 16 or 4 coefficients
 * @param QP      quantiser, 0..51 for both
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrcDst` is null
 * @retval StatusOutOfRange  QP is outside 0..51
 * @{
 */
KEL_API Status keliTransformDequantLumaDC_H264_16s_C1I(int16_t* pSrcDst, int32_t QP) KEL_NOEXCEPT;
KEL_API Status keliTransformDequantChromaDC_H264_16s_C1I(int16_t* pSrcDst, int32_t QP) KEL_NOEXCEPT;
/** @} */

/**
 * Scales and transforms a 4x4 block of coefficients (8.5.12) into its residual, in place. c[k] becomes
 * c[k] * LevelScale(QP, k), but c[0] becomes `*pDC` if that is given.
 *
 * @param pSrcDst    16 coefficients in, 16 residuals out
 * @param srcDstStep distance in bytes between rows of the block
 * @param pDC        a DC coefficient that has been scaled already, or null
 * @param hasAC      0 if coefficients 1..15 do not count: all residuals are (c[0] + 32) >> 6
 * @param QP         quantiser, 0..51
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrcDst` is null
 * @retval StatusBadStep     `srcDstStep` is below 8
 * @retval StatusOutOfRange  QP is outside 0..51
 */
KEL_API Status keliDequantTransformResidual_H264_16s_C1I(int16_t* pSrcDst, int32_t srcDstStep,
                                                         const int16_t* pDC, int32_t hasAC,
                                                         int32_t QP) KEL_NOEXCEPT;

/**
 * Does what keliDequantTransformResidual_H264_16s_C1I() does, adds the residual to the prediction and clips
 * the sums to 0..255.
 *
 * @param pPred    top left predicted sample of the 4x4 block
 * @param pCoeffs  16 coefficients, without gaps; the residual replaces them if `hasAC` is not 0. May be null
 *                 if `pDC` is given: then `hasAC` counts as 0
 * @param pDC      a DC coefficient that has been scaled already, or null
 * @param pDst     top left sample of the result; may be `pPred`, with the same step
 * @param predStep distance in bytes between rows of the prediction
 * @param dstStep  distance in bytes between rows of the result
 * @param QP       quantiser, 0..51
 * @param hasAC    0 if coefficients 1..15 do not count: all residuals are (c[0] + 32) >> 6, of a scaled c[0]
 *                 with all its bits
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pPred`, `pDst`, or both `pCoeffs` and `pDC` are null
 * @retval StatusOutOfRange  QP is outside 0..51
 */
KEL_API Status keliDequantTransformResidualAndAdd_H264_16s_C1I(const uint8_t* pPred, int16_t* pCoeffs,
                                                               const int16_t* pDC, uint8_t* pDst,
                                                               int32_t predStep, int32_t dstStep, int32_t QP,
                                                               int32_t hasAC) KEL_NOEXCEPT;

/**
 * @name SP and SI slices
 *
 * The prediction is transformed, the levels are added to it, and the sums are quantised and scaled again with
 * QS (8.6.1): keliTransformPrediction_H264_8u16s_C1() for each 4x4 block of the prediction, then
 * - luma: keliDequantTransformResidual_SISP_H264_16s_C1I() with all 16 coefficients of the prediction;
 * - chroma: keliTransformDequantChromaDC_SISP_H264_16s_C1I() with coefficients 0 of the four blocks of a
 *   component, then the luma operation for each block, with `pDC` from there.
 *
 * With A the 4x4 array 16, 20, 16, 20, 20, 25, 20, 25 and the same again, LevelScale2 the quantisation
 * factors of 8.6.1 for QS % 6, p the prediction and c the level at position k:
 *
 *     u        = p[k] + ((c[k] * LevelScale(QP, k) * A[k]) >> 6)
 *     level    = sign(u) * ((|u| * LevelScale2(k) + 2^(14 + QS / 6)) >> (15 + QS / 6))
 *     d        = level * LevelScale(QS, k)
 *
 * d is transformed as in 8.5.12, and the results are samples: (r + 32) >> 6, clipped to 0..255. Of the DC
 * coefficients of chroma
 *
 *     u        = P[k] + ((c[k] * LevelScale(QP, 0) * 16) >> 5)
 *     level    = sign(u) * ((|u| * LevelScale2(0) + 2^(15 + QS / 6)) >> (16 + QS / 6))
 *     d        = level * LevelScale(QS, 0)
 *
 * where P is the 2x2 transform of `pPredDC`, and the result is the 2x2 transform of d, halved (>> 1). The
 * sums and products up to the level are exact, whatever the input.
 *
 * @param pSrc        top left sample of the 4x4 prediction
 * @param srcStep     distance in bytes between its rows
 * @param pDst        receives the 16 coefficients of the forward 4x4 transform, without scaling
 * @param pSrcDst     luma: 16 levels in, 16 samples out; chroma DC: 4 levels in, 4 scaled DC coefficients out
 * @param pPredCoeffs the 16 coefficients of the prediction
 * @param pPredDC     coefficients 0 of the prediction's four blocks, in raster order of the blocks
 * @param pDC         what takes the place of d at position 0, or null
 * @param hasAC       0 if levels 1..15 do not count: u = p[k] there
 * @param QP          quantiser of the levels, QPY or QPC, 0..51
 * @param QS          quantiser of the sums, QSY or QSC, 0..51
 * @param isSwitching not 0 where levels are quantised with QS, in SI slices and in SP slices for switching
 *                    (sp_for_switch_flag): QS is used in place of QP. 8.6.2 quantises the prediction alone
 *                    and adds the level to that, which can differ in the rounding
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer other than `pDC` is null
 * @retval StatusBadStep     `srcStep` is below 1
 * @retval StatusOutOfRange  QP or QS is outside 0..51
 * @{
 */
KEL_API Status keliTransformPrediction_H264_8u16s_C1(const uint8_t* pSrc, int32_t srcStep,
                                                     int16_t* pDst) KEL_NOEXCEPT;
KEL_API Status keliDequantTransformResidual_SISP_H264_16s_C1I(int16_t* pSrcDst, const int16_t* pPredCoeffs,
                                                              const int16_t* pDC, int32_t hasAC, int32_t QP,
                                                              int32_t QS, int32_t isSwitching) KEL_NOEXCEPT;
KEL_API Status keliTransformDequantChromaDC_SISP_H264_16s_C1I(int16_t* pSrcDst, const int16_t* pPredDC,
                                                              int32_t QP, int32_t QS,
                                                              int32_t isSwitching) KEL_NOEXCEPT;
/** @} */

/**
 * Scales the coefficients of an 8x8 block in place (8.5.13.1): (c * S[k] + 2^(5 - qpPer)) >> (6 - qpPer) for
 * qpPer below 6, else (c * S[k]) << (qpPer - 6).
 *
 * @param pSrcDst       64 coefficients
 * @param qpPer         QP / 6, 0..8
 * @param pDequantScale 64 factors S for QP % 6: LevelScale8x8(QP % 6, i, j)
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  a pointer is null
 * @retval StatusBadQuantizer `qpPer` is outside 0..8
 */
KEL_API Status keliQuantLuma8x8Inv_H264_16s_C1I(int16_t* pSrcDst, int32_t qpPer,
                                                const int16_t* pDequantScale) KEL_NOEXCEPT;

/**
 * Transforms an 8x8 block of scaled coefficients (8.5.13.2), adds it to the prediction and clips the sums to
 * 0..255. All intermediate results have 32 bits, which is enough for any input.
 *
 * @param pPred    top left predicted sample of the 8x8 block
 * @param predStep distance in bytes between rows of the prediction
 * @param pCoeffs  64 coefficients
 * @param pDst     top left sample of the result; may be `pPred`, with the same step
 * @param dstStep  distance in bytes between rows of the result
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 */
KEL_API Status keliTransformLuma8x8InvAddPred_H264_16s8u_C1R(const uint8_t* pPred, int32_t predStep,
                                                             const int16_t* pCoeffs, uint8_t* pDst,
                                                             int32_t dstStep) KEL_NOEXCEPT;

/**
 * Makes the factors of 8x8 blocks for one QP % 6 from the weights of a scaling matrix: for scaling
 * LevelScale8x8 = weight * normAdjust8x8(qpRem, i, j) (8.5.9), which keliQuantLuma8x8Inv_H264_16s_C1I() and
 * the 8x8 operations of h264_residual.h take, and for quantisation F / weight, rounded down, with F about
 * 2^21 / normAdjust8x8 over the norm of the transform there, which keliQuantLuma8x8_H264_16s_C1() takes.
 *
 * @param pScalingMatrix 64 weights of 1..255, in rows of 8 (Flat_8x8_16 has 16 everywhere)
 * @param matrixStep     distance in bytes between its rows
 * @param pDequantScale  receives 64 factors for scaling
 * @param pQuantScale    receives 64 factors for quantisation
 * @param qpRem          QP % 6
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  a pointer is null
 * @retval StatusBadQuantizer `qpRem` is outside 0..5
 * @retval StatusDivideByZero a weight is 0
 */
KEL_API Status keliGenScaleLevel8x8_H264_8u16s_D2(const uint8_t* pScalingMatrix, int32_t matrixStep,
                                                  int16_t* pDequantScale, int16_t* pQuantScale,
                                                  int32_t qpRem) KEL_NOEXCEPT;

#endif /* KELVCPX_H264_TRANSFORM_H */
