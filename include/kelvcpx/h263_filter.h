/**
 * @file
 * H.263 (ITU-T H.263): filters of block edges and the prediction of PB-frames.
 *
 * @par Edges
 * The samples across an edge are A, B before it and C, D behind it. An operation on a horizontal edge filters
 * the columns 0.. of the edge above `pSrcDst`, one on a vertical edge the rows 0.. of the edge left of it.
 * All divisions are towards zero, and clip() limits to 0..255.
 */
#ifndef KELVCPX_H263_FILTER_H
#define KELVCPX_H263_FILTER_H

#include <kelvcpx/types.h>

/**
 * @name Deblocking filter
 *
 * Filters the edge between two blocks (ITU-T H.263 Annex J): 8 lines in the `8x8` forms, 16 in the `16x16`
 * forms. For each line
 *
 *     d  = (A - 4 * B + 4 * C - D) / 8
 *     d1 = sign(d) * max(0, |d| - max(0, 2 * (|d| - STRENGTH)))     in the 8x8 forms (UpDownRamp)
 *     d1 = d                                                        in the 16x16 forms
 *     d2 = (A - D) / 4, limited to -|d1 / 2|..|d1 / 2|
 *     A' = A - d2,  B' = clip(B + d1),  C' = clip(C - d1),  D' = D + d2
 *
 * The standard filters the horizontal edges of a picture before the vertical ones, and only where one of the
 * two blocks is coded.
 *
 * @param pSrcDst    first sample behind the edge; two samples on each side are read and written
 * @param srcDstStep distance in bytes between rows; not checked
 * @param QP         quantiser, 1..31, of the block behind the edge, or of the one before it if the former is
 *                   not coded; gives STRENGTH by table J.2
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  `pSrcDst` is null
 * @retval StatusBadQuantizer `QP` is outside 1..31
 * @{
 */
KEL_API Status keliFilterDeblocking8x8HorEdge_H263_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep,
                                                           int32_t QP) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblocking8x8VerEdge_H263_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep,
                                                           int32_t QP) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblocking16x16HorEdge_H263_8u_C1IR(uint8_t* pSrcDst,
                                                             int32_t srcDstStep) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblocking16x16VerEdge_H263_8u_C1IR(uint8_t* pSrcDst,
                                                             int32_t srcDstStep) KEL_NOEXCEPT;
/** @} */

/**
 * @name Block boundary filter
 *
 * Filters 16 lines of the edge between two 16x16 blocks of the reduced-resolution update mode (ITU-T H.263
 * Annex Q): B' = (3 * B + C + 2) >> 2, C' = (B + 3 * C + 2) >> 2.
 *
 * @param pSrcDst    first sample behind the edge; one sample on each side is read and written
 * @param srcDstStep distance in bytes between rows; not checked
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrcDst` is null
 * @{
 */
KEL_API Status keliFilterBlockBoundaryHorEdge_H263_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep) KEL_NOEXCEPT;
KEL_API Status keliFilterBlockBoundaryVerEdge_H263_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep) KEL_NOEXCEPT;
/** @} */

/**
 * @name Bidirectional prediction in PB-frames
 *
 * Completes the prediction of the part of a B-block whose backward vector points into the reconstructed
 * P-macroblock (ITU-T H.263 Annex G): each destination sample t, which holds the forward prediction, becomes
 * (t + p) >> 1, where the backward prediction p is
 *
 * | `acc` | p                                                                       |
 * |-------|-------------------------------------------------------------------------|
 * | 0     | s[y][x]                                                                 |
 * | 1     | (s[y][x] + s[y][x + 1] + 1) >> 1                                        |
 * | 2     | (s[y][x] + s[y + 1][x] + 1) >> 1                                        |
 * | 3     | (s[y][x] + s[y][x + 1] + s[y + 1][x] + s[y + 1][x + 1] + 2) >> 2        |
 *
 * @param pSrc    sample of the P-macroblock at the place of the top left predicted one; one column more than
 *                the region is read with `acc` 1 and 3, one row more with 2 and 3
 * @param srcStep distance in bytes between rows of the source; not checked
 * @param roiSize size of the region
 * @param pSrcDst top left sample of the forward prediction, which the result replaces; must not overlap the
 *                source
 * @param dstStep distance in bytes between rows of the destination; not checked
 * @param acc     half-sample position, 0..3: bit 0 half a sample right, bit 1 half a sample down
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pSrcDst` is null
 * @retval StatusBadSize     the width or the height is below 1
 * @retval StatusBadArgument `acc` is outside 0..3
 * @{
 */
KEL_API Status keliAddBackPredPB_H263_8u_C1R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize,
                                             uint8_t* pSrcDst, int32_t dstStep, int32_t acc) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_H263_FILTER_H */
