/**
 * @file
 * H.261 (ITU-T H.261): the loop filter.
 */
#ifndef KELVCPX_H261_FILTER_H
#define KELVCPX_H261_FILTER_H

#include <kelvcpx/types.h>

/**
 * @name Loop filter
 *
 * Filters a predicted 8x8 block (ITU-T H.261 3.2.3) along its rows and columns with the weights
 * (1, 2, 1) / 4; in the direction in which a sample is at the border of the block it stays as it is. The
 * corners are thus copied, and the result is rounded once, halves upwards.
 *
 * @param pSrc    top left sample of the prediction; 8x8 samples are read
 * @param srcStep distance in bytes between rows of the prediction; not checked
 * @param pDst    top left destination sample; the block is written. It may be the prediction itself, but not
 *                overlap it otherwise.
 * @param dstStep distance in bytes between rows of the destination; not checked
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliFilter8x8_H261_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                         int32_t dstStep) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_H261_FILTER_H */
