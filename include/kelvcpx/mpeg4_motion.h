/**
 * @file
 * Prediction tools of MPEG-4 Part 2 beyond the half-sample copies of block.h: quarter-sample prediction and
 * overlapped block motion compensation.
 */
#ifndef KELVCPX_MPEG4_MOTION_H
#define KELVCPX_MPEG4_MOTION_H

#include <kelvcpx/types.h>

/** Motion vector, in half or quarter samples. */
typedef struct MotionVector {
    int16_t x; /**< to the right */
    int16_t y; /**< down */
} MotionVector;

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

/**
 * @name Overlapped block motion compensation
 *
 * Predicts a block as the weighted sum of three predictions (ISO/IEC 14496-2 7.6.6):
 *
 *     dst = (w0 * p0 + w1 * p1 + w2 * p2 + 4) >> 3
 *
 * p0 is made with the block's own vector; p1 with the vector of the left neighbour in the left half and with
 * that of the right one in the right half; p2 with that of the neighbour above in the upper half and with
 * that of the one below in the lower half. The weights are those of the standard for 8x8 samples; in the
 * 16x16 form each serves a square of 2x2 samples. The three weights of a sample add up to 8.
 *
 * Vectors are in half samples (`HP`), where the predictions are those of keliCopy8x8HP_8u_C1R(), or in
 * quarter samples (`QP`), where they are those of keliCopy8x8QP_MPEG4_8u_C1R(). A quarter-sample prediction
 * sees the samples of the half block alone, 4x8 or 8x4, unless the neighbour's vector is the block's own:
 * then it is the part of p0 at its place.
 *
 * Where a neighbour is missing or has no vector of its own, the caller passes the vector that the standard
 * prescribes for it.
 *
 * @param pSrc     reference sample at the place of the block
 * @param srcStep  distance in bytes between rows of the reference; not checked. What each vector points to
 *                 must be there.
 * @param pDst     top left destination sample; the block is written, and must not overlap the reference
 * @param dstStep  distance in bytes between rows of the destination; not checked
 * @param pMVCur   vector of the block itself; none of the vectors is checked for null
 * @param pMVLeft  vector of the left neighbour
 * @param pMVRight vector of the right neighbour
 * @param pMVAbove vector of the neighbour above
 * @param pMVBelow vector of the neighbour below
 * @param rounding rounding control of the predictions in bit 0; other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliOBMC8x8HP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, const MotionVector* pMVCur,
                                          const MotionVector* pMVLeft, const MotionVector* pMVRight,
                                          const MotionVector* pMVAbove, const MotionVector* pMVBelow,
                                          int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliOBMC16x16HP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                            int32_t dstStep, const MotionVector* pMVCur,
                                            const MotionVector* pMVLeft, const MotionVector* pMVRight,
                                            const MotionVector* pMVAbove, const MotionVector* pMVBelow,
                                            int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliOBMC8x8QP_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                          int32_t dstStep, const MotionVector* pMVCur,
                                          const MotionVector* pMVLeft, const MotionVector* pMVRight,
                                          const MotionVector* pMVAbove, const MotionVector* pMVBelow,
                                          int32_t rounding) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_MPEG4_MOTION_H */
