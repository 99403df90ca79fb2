/**
 * @file
 * Prediction tools of MPEG-4 Part 2 beyond the half-sample copies of block.h: quarter-sample prediction.
 */
#ifndef KELVCPX_MPEG4_MOTION_H
#define KELVCPX_MPEG4_MOTION_H

#include <kelvcpx/types.h>

/**
 * @name Copy a block at a quarter-sample position
 *
 * dst = prediction from a reference at a quarter-sample position (ISO/IEC 14496-2 7.6.2.2), for streams with
 * quarter_sample set.
 *
 * A half sample between the fourth and the fifth of eight samples p0..p7 of a row or column is
 *
 *     (160 * (p3 + p4) - 48 * (p2 + p5) + 24 * (p1 + p6) - 8 * (p0 + p7) + 128 - r) >> 8
 *
 * clipped to 0..255, where r is the rounding control. A quarter sample is the average (a + b + 1 - r) >> 1 of
 * the half sample and the nearest full one. Rows are interpolated first, then columns of the result.
 *
 * The filter sees the samples of the block alone: as many columns and rows as the block has, and one column
 * more if the position is not at a whole column, one row more if it is not at a whole row. Beyond them it
 * takes their mirror image, in which the sample at the border is repeated: the k-th sample outside is the
 * k-th one inside. Nothing else is read. (A predicted macroblock of four vectors is therefore not the same as
 * one of a single vector, even if the four are equal.)
 *
 * @param pSrc     reference sample at the place of the top left predicted sample
 * @param srcStep  distance in bytes between rows of the reference; not checked
 * @param pDst     top left destination sample; the block is written, and must not overlap the reference
 * @param dstStep  distance in bytes between rows of the destination; not checked
 * @param acc      quarter-sample position: bits 0 and 1 quarter samples to the right, bits 2 and 3 quarter
 *                 samples down; other bits ignored
 * @param rounding rounding control in bit 0 (vop_rounding_type); other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliCopy8x8QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, int32_t acc, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliCopy16x8QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                           int32_t dstStep, int32_t acc, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliCopy16x16QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                            int32_t dstStep, int32_t acc, int32_t rounding) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_MPEG4_MOTION_H */
