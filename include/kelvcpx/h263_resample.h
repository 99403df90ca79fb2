/**
 * @file
 * H.263 (ITU-T H.263): up- and down-sampling by two, for reduced-resolution updates (Annex Q)
 * and for the prediction of enhancement layers (Annex O).
 *
 * @par Upsampling
 * Output sample (X, Y) is nearest to source sample a at (X / 2, Y / 2). Its neighbour b is the one above a if
 * Y is even, or below a if Y is odd; c is the one left of a if X is even, or right of it if X is odd; d is
 * the diagonal one between them. The output is a weighted mean of the four with the weights 9, 3, 3, 1.
 *
 * Sources and destinations must not overlap.
 */
#ifndef KELVCPX_H263_RESAMPLE_H
#define KELVCPX_H263_RESAMPLE_H

#include <kelvcpx/types.h>

/**
 * @name Upsample a plane
 *
 * Doubles width and height: each output sample is (9 * a + 3 * b + 3 * c + d + 7 + rounding) >> 4. If
 * `fillValue` is not negative, neighbours outside the source have that value. Otherwise samples at the upper
 * and lower border of the output are (3 * a + c + 1 + rounding) >> 2, those at the left and right border (3 *
 * a + b + 1 + rounding) >> 2, and the corners copies.
 *
 * @param pSrc      top left source sample
 * @param srcStep   distance in bytes between rows of the source; not checked
 * @param roiSize   size of the source, each side even and at least 4
 * @param pDst      top left destination sample; twice the size of the source is written
 * @param dstStep   distance in bytes between rows of the destination; not checked
 * @param rounding  rounding control in bit 0; other bits ignored
 * @param fillValue 0..255 (only its low eight bits count), or negative for none
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @retval StatusBadSize     the width or the height is below 4 or odd
 * @{
 */
KEL_API Status keliUpsampleFour_H263_8u_C1R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize,
                                            uint8_t* pDst, int32_t dstStep, int32_t rounding,
                                            int32_t fillValue) KEL_NOEXCEPT;
/** @} */

/**
 * @name Interpolate a base layer
 *
 * Doubles width, height or both of a plane (ITU-T H.263 Annex O):
 *
 * | `interpType` | Output of a W x H source | Samples                                            |
 * |--------------|--------------------------|----------------------------------------------------|
 * | 3            | 2 W x 2 H                | as of keliUpsampleFour_H263_8u_C1R() with rounding |
 * |              |                          | control 1 and no fill value                        |
 * | 2            | W x 2 H                  | (3 * a + b + 2) >> 2, first and last row copied    |
 * | other        | 2 W x H                  | (3 * a + c + 2) >> 2, first and last column copied |
 *
 * @param pSrc       top left source sample
 * @param srcStep    distance in bytes between rows of the source; not checked
 * @param roiSize    size of the source, each side even and at least 4
 * @param pDst       top left destination sample
 * @param dstStep    distance in bytes between rows of the destination; not checked
 * @param interpType what is doubled, see above
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @retval StatusBadSize     the width or the height is below 4 or odd
 * @{
 */
KEL_API Status keliSpatialInterpolation_H263_8u_C1R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize,
                                                    uint8_t* pDst, int32_t dstStep,
                                                    int32_t interpType) KEL_NOEXCEPT;
/** @} */

/**
 * @name Upsample a residual
 *
 * Makes a 16x16 block of residuals of an 8x8 one (ITU-T H.263 Annex Q): (9 * a + 3 * b + 3 * c + d + 8) / 16,
 * at the upper and lower border (3 * a + c + 2) / 4, at the left and right border (3 * a + b + 2) / 4, each
 * divided towards zero, and the corners copied.
 *
 * @param pSrc    top left element of the 8x8 block
 * @param srcStep distance in bytes between its rows; not checked
 * @param pDst    top left element of the 16x16 block, which is written
 * @param dstStep distance in bytes between its rows; not checked
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliUpsampleFour8x8_H263_16s_C1R(const int16_t* pSrc, int32_t srcStep, int16_t* pDst,
                                                int32_t dstStep) KEL_NOEXCEPT;
/** @} */

/**
 * @name Downsample a plane
 *
 * Halves width and height: each output sample is (s + 1 + rounding) >> 2, with s the sum of a square of 2x2
 * source samples. The last column of an odd width and the last row of an odd height are not used.
 *
 * @param pSrc     top left source sample
 * @param srcStep  distance in bytes between rows of the source; not checked
 * @param roiSize  size of the source
 * @param pDst     top left destination sample; half the size of the source, rounded down, is written
 * @param dstStep  distance in bytes between rows of the destination; not checked
 * @param rounding rounding control in bit 0; other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @retval StatusBadSize     the width or the height is below 1
 * @{
 */
KEL_API Status keliDownsampleFour_H263_8u_C1R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize,
                                              uint8_t* pDst, int32_t dstStep, int32_t rounding) KEL_NOEXCEPT;
/** @} */

/**
 * @name Downsample a residual
 *
 * Makes an 8x8 block of residuals of a 16x16 one: (s + 2) >> 2, with s the sum of a square of 2x2 residuals.
 *
 * @param pSrc    top left element of the 16x16 block
 * @param srcStep distance in bytes between its rows; not checked
 * @param pDst    top left element of the 8x8 block, which is written
 * @param dstStep distance in bytes between its rows; not checked
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliDownsampleFour16x16_H263_16s_C1R(const int16_t* pSrc, int32_t srcStep, int16_t* pDst,
                                                    int32_t dstStep) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_H263_RESAMPLE_H */
