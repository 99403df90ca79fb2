/**
 * @file
 * Post-filters of MPEG-4 Part 2 (ISO/IEC 14496-2 Annex F.3): deblocking and deringing. They improve pictures
 * that are shown; they are no part of decoding, and references stay as they are.
 */
#ifndef KELVCPX_MPEG4_POSTFILTER_H
#define KELVCPX_MPEG4_POSTFILTER_H

#include <kelvcpx/types.h>

/**
 * @name Deblocking
 *
 * Filters the edge between two 8x8 blocks, line by line: the horizontal edge above `pSrcDst`, in the columns
 * 0..7, or the vertical edge left of it, in the rows 0..7 (ISO/IEC 14496-2 Annex F.3.1). The samples of a
 * line across the edge are s0..s9, s4 before the edge and s5 after it.
 *
 * If `THR2` at least of the nine pairs of neighbours differ by `THR1` at most, the line is flat (DC offset
 * mode). If then the range of s1..s8 is below 2 * QP, these are replaced, from the samples as they were, by
 *
 *     s[n] = (sum over k = -4..4 of b[k] * s[n + k] + 8) >> 4,  b = 1, 1, 2, 2, 4, 2, 2, 1, 1
 *
 * where s0 stands for what is before s1, or s1 if the two differ by QP or more, and s9 or s8 for what is
 * behind s8 likewise; otherwise the line stays as it is.
 *
 * Any other line is corrected at the edge (default mode). With R(x) = x / 8, halves away from zero,
 *
 *     a0 = R(2 * s3 - 5 * s4 + 5 * s5 - 2 * s6)
 *     a1 = R(2 * s1 - 5 * s2 + 5 * s3 - 2 * s4)
 *     a2 = R(2 * s5 - 5 * s6 + 5 * s7 - 2 * s8)
 *     d  = R(5 * (sign(a0) * min(|a0|, |a1|, |a2|) - a0)), limited to the range from 0 to (s4 - s5) / 2
 *
 * and if |a0| < QP, s4 becomes s4 - d and s5 becomes s5 + d.
 *
 * The standard filters the horizontal edges of a picture before the vertical ones.
 *
 * @param pSrcDst    the first sample after the edge: the leftmost one below it, or the uppermost one right of
 *                   it; five samples before the edge and five after it are read in each line, and four on
 *                   either side may change
 * @param srcDstStep distance in bytes between rows; not checked
 * @param QP         quantiser of the block that `pSrcDst` is in, 1..31
 * @param THR1       largest difference of neighbours that counts as flat
 * @param THR2       number of flat pairs that makes a line flat
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  `pSrcDst` is null
 * @retval StatusBadQuantizer `QP` is outside 1..31
 * @{
 */
KEL_API Status keliFilterDeblocking8x8HorEdge_MPEG4_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, int32_t QP,
                                                            int32_t THR1, int32_t THR2) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblocking8x8VerEdge_MPEG4_8u_C1IR(uint8_t* pSrcDst, int32_t srcDstStep, int32_t QP,
                                                            int32_t THR1, int32_t THR2) KEL_NOEXCEPT;
/** @} */

/**
 * @name Deringing: thresholds of a macroblock
 *
 * For each of the six 8x8 blocks of a macroblock, the rounded mean of its largest and its smallest sample
 * (ISO/IEC 14496-2 Annex F.3.2). If no luma block has a range of 16 or more, the four luma thresholds are 0.
 * If one has a range of 64 or more, luma blocks with a range below 32 take the threshold of the one with the
 * largest range, the first if there are several.
 *
 * @param pSrcY       top left luma sample of the macroblock; 16x16 samples are read
 * @param srcYStep    distance in bytes between rows of luma; not checked
 * @param pSrcCb      top left Cb sample; 8x8 samples are read
 * @param srcCbStep   distance in bytes between rows of Cb; not checked
 * @param pSrcCr      top left Cr sample; 8x8 samples are read
 * @param srcCrStep   distance in bytes between rows of Cr; not checked
 * @param pThresholds receives the six thresholds: of the luma blocks top left, top right, bottom left
 *                    and bottom right, of Cb, of Cr
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @{
 */
KEL_API Status keliFilterDeringingThreshold_MPEG4_8u_P3R(const uint8_t* pSrcY, int32_t srcYStep,
                                                         const uint8_t* pSrcCb, int32_t srcCbStep,
                                                         const uint8_t* pSrcCr, int32_t srcCrStep,
                                                         int32_t* pThresholds) KEL_NOEXCEPT;
/** @} */

/**
 * @name Deringing: smooth a block
 *
 * Smooths an 8x8 block except along its contours (ISO/IEC 14496-2 Annex F.3.2). A sample that is on the same
 * side of the threshold as its eight neighbours (all of them below it, or none) becomes
 *
 *         1 2 1
 *     sum 2 4 2 of the samples round it, + 8, >> 4
 *         1 2 1
 *
 * but changes by QP >> 1 at most. Any other sample is copied, and with QP 1 all are.
 *
 * @param pSrc      top left sample of the block. With QP above 1, the samples round the block are read too,
 *                  one on every side and at every corner; at the border of a picture the caller provides
 *                  them.
 * @param srcStep   distance in bytes between rows of the source; not checked
 * @param pDst      top left destination sample; the block is written, and must not overlap what is read
 * @param dstStep   distance in bytes between rows of the destination; not checked
 * @param QP        quantiser of the block, 1..31
 * @param threshold the block's threshold, of keliFilterDeringingThreshold_MPEG4_8u_P3R()
 *
 * @retval StatusOk           done
 * @retval StatusNullPointer  `pSrc` or `pDst` is null
 * @retval StatusBadQuantizer `QP` is outside 1..31
 * @{
 */
KEL_API Status keliFilterDeringingSmooth8x8_MPEG4_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                         int32_t dstStep, int32_t QP,
                                                         int32_t threshold) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_MPEG4_POSTFILTER_H */
