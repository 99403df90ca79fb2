/**
 * @file
 * H.264 (ITU-T H.264 | ISO/IEC 14496-10): sample interpolation, weighted prediction and the deblocking
 * filter, for samples of 8 bits and for samples of any bit depth in 16-bit elements. Clause, figure and table
 * numbers are those of ITU-T H.264.
 *
 * @par One inter macroblock
 * 1. For each partition and each of its reference pictures, split the motion vector into whole samples, which
 *    move `pSrc`, and a fraction `dx`, `dy`; interpolate luma and both chroma components. A block that
 *    reaches over the edge of the picture needs either a plane that was expanded, or an operation that knows
 *    of the edge.
 * 2. Combine two predictions, or weight one.
 * 3. Add the residual (h264_residual.h).
 * 4. When all macroblocks round it are complete, filter the edges of each macroblock in the order of their
 *    addresses: the vertical edges of a component, then its horizontal edges. When the picture is complete,
 *    expand its planes.
 *
 * @par Samples and steps
 * A block is given by a pointer to its top left sample and its row step, the distance between the starts of
 * two rows: in bytes for 8-bit samples (`8u`), in samples, that is in 16-bit elements, for the others
 * (`16u`). Where a step is not checked it may be negative. 8-bit samples need no alignment, 16-bit ones that
 * of their type. Sizes are width x height.
 *
 * @par Bit depth
 * The 16-bit operations take samples of `bitDepth` bits and clip what they compute to 0..2^bitDepth - 1, but
 * are defined for all samples: no intermediate result overflows. A bit depth below 1 or above 16 counts as 1
 * or 16.
 *
 * @par Overlap
 * A block that is interpolated must not overlap the reference samples. The result of a weighting or an
 * average may be one of its sources, at the same address and with the same step; otherwise it must not
 * overlap them.
 */
#ifndef KELVCPX_H264_INTER_H
#define KELVCPX_H264_INTER_H

#include <kelvcpx/types.h>

/** What the interpolations of 16-bit samples take. */
typedef struct InterpolationParams16u {
    const uint16_t* pSrc; /**< reference sample at the place of the top left predicted one, fraction aside */
    int32_t srcStep;      /**< distance in samples between rows of the reference */
    uint16_t* pDst;       /**< top left predicted sample; the block is written */
    int32_t dstStep;      /**< distance in samples between rows of the destination */
    int32_t dx;           /**< fraction to the right: 0..3 quarter samples (luma), 0..7 eighths (chroma) */
    int32_t dy;           /**< fraction down, likewise */
    RoiSize roiSize;      /**< size of the block */
    int32_t bitDepth;     /**< bit depth of the samples; chroma does not read it */
} InterpolationParams16u;

/** What the operations on two predictions of 16-bit samples take. */
typedef struct BidirParams16u {
    const uint16_t* pSrc1; /**< top left sample of the first prediction */
    int32_t src1Step;      /**< distance in samples between its rows */
    const uint16_t* pSrc2; /**< top left sample of the second prediction */
    int32_t src2Step;      /**< distance in samples between its rows */
    uint16_t* pDst;        /**< top left sample of the result; the block is written */
    int32_t dstStep;       /**< distance in samples between its rows */
    RoiSize roiSize;       /**< size of the block */
    int32_t bitDepth;      /**< bit depth of the samples; keliBidir_H264_16u_P2P1R() does not read it */
} BidirParams16u;

/** What the deblocking operations of 8-bit samples of 4:2:2 pictures take. */
typedef struct DeblockingParams {
    uint8_t* pSrcDstPlane;      /**< top left sample of the macroblock in the plane, which is filtered */
    int32_t srcDstStep;         /**< distance in bytes between rows of the plane */
    const uint8_t* pAlpha;      /**< alpha of the first edge and of all others */
    const uint8_t* pBeta;       /**< beta of the first edge and of all others */
    const uint8_t* pThresholds; /**< tC0 of the segments */
    const uint8_t* pBs;         /**< bS of the segments, 16 entries */
} DeblockingParams;

/** What the deblocking operations of 16-bit samples take. */
typedef struct DeblockingParams16u {
    uint16_t* pSrcDstPlane;      /**< top left sample of the macroblock in the plane, which is filtered */
    int32_t srcDstStep;          /**< distance in samples between rows of the plane */
    const uint16_t* pAlpha;      /**< alpha of the first edge and of all others */
    const uint16_t* pBeta;       /**< beta of the first edge and of all others */
    const uint16_t* pThresholds; /**< tC0 of the segments */
    const uint8_t* pBs;          /**< bS of the segments, 16 entries */
    int32_t bitDepth;            /**< bit depth of the samples */
} DeblockingParams16u;

/**
 * @name Interpolation
 *
 * Write the prediction block for a motion vector (8.4.2.2): luma at quarter samples with the 6-tap filter of
 * 8.4.2.2.1, chroma at eighth samples with the weighted mean of four neighbours of 8.4.2.2.2.
 *
 * @par Luma
 * The letters are those of Figure 8-4: G is the sample at `pSrc`, b half a sample to its right, h half a
 * sample below it, j at the centre; m is the h of the next column, s the b of the next row.
 *
 * | `dx` | `dy` 0                    | `dy` 1        | `dy` 2        | `dy` 3                     |
 * |------|---------------------------|---------------|---------------|----------------------------|
 * | 0    | G                         | d, of G and h | h             | n, of h and the G below    |
 * | 1    | a, of G and b             | e, of b and h | i, of h and j | p, of h and s              |
 * | 2    | b                         | f, of b and j | j             | q, of j and s              |
 * | 3    | c, of b and the next G    | g, of b and m | k, of j and m | r, of m and s              |
 *
 * "Of" means (the one + the other + 1) >> 1. The reference must be addressable, for a block of W x H:
 *
 * | operation | columns, from the block's first      | rows, from the block's first         |
 * |-----------|--------------------------------------|--------------------------------------|
 * | luma      | 0..W - 1 if `dx` is 0, else -2..W+2  | 0..H - 1 if `dy` is 0, else -2..H+2  |
 * | chroma    | 0..W                                 | 0..H                                 |
 *
 * @par Chroma
 * With A the sample itself, B its right neighbour, C the one below it and D the one below B:
 * ((8 - dx) * (8 - dy) * A + dx * (8 - dy) * B + (8 - dx) * dy * C + dx * dy * D + 32) >> 6. Column W and row
 * H belong to the reference even if `dx` or `dy` is 0 and their weight with it. For 4:2:2 pictures, whose
 * chroma vectors have quarter samples vertically, the caller doubles that fraction (8.4.2.2).
 *
 * @par Sizes
 *
 * | operation                                | width       | height      | except      |
 * |------------------------------------------|-------------|-------------|-------------|
 * | keliInterpolateLuma_H264_8u_C1R()        | 4, 8, 16    | 4, 8, 16    |             |
 * | keliInterpolateLuma_H264_16u_C1R()       | 4, 8, 16    | 4, 8, 16    | 16x4, 4x16  |
 * | keliInterpolateChroma_H264_8u_C1R()      | 2, 4, 8     | 2, 4, 8, 16 |             |
 * | keliInterpolateChroma_H264_16u_C1R()     | 2, 4, 8, 16 | 2, 4, 8, 16 |             |
 *
 * @param pSrc    reference sample at the place of the top left predicted one, fraction aside
 * @param srcStep distance in bytes between rows of the reference; not checked
 * @param pDst    top left predicted sample; the block is written
 * @param dstStep distance in bytes between rows of the destination; not checked
 * @param dx      fraction to the right: 0..3 quarter samples (luma), 0..7 eighth samples (chroma)
 * @param dy      fraction down, likewise
 * @param roiSize size of the block, see above
 * @param pParams the same for 16-bit samples, and the bit depth. Luma results are clipped to it; chroma
 *                results are means of samples and need no clipping
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst`, or the record or a pointer in it, is null
 * @retval StatusBadStep     16-bit only: a step is below the width (luma) or below 8 (chroma)
 * @retval StatusBadArgument `dx` or `dy` is outside its range
 * @retval StatusBadSize     the size is none of those above
 * @{
 */
KEL_API Status keliInterpolateLuma_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                               int32_t dstStep, int32_t dx, int32_t dy,
                                               RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliInterpolateChroma_H264_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                 int32_t dstStep, int32_t dx, int32_t dy,
                                                 RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliInterpolateLuma_H264_16u_C1R(const InterpolationParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status keliInterpolateChroma_H264_16u_C1R(const InterpolationParams16u* pParams) KEL_NOEXCEPT;
/** @} */

/**
 * @name Interpolation at the top or bottom edge of the picture
 *
 * Write the prediction block as the operations above do, for a block that may reach over the first (`Top`) or
 * the last (`Bottom`) row of the reference picture: rows outside are repetitions of the nearest row inside
 * (8.4.2.2.1, 8.4.2.2.2), as if the plane had been expanded, but are never read. Of the rows inside, only
 * those are read that the fraction needs: luma as in the table above, chroma without row H if `dy` is 0 and
 * without column W if `dx` is 0. The other edge must be far enough away, and the columns that the filter
 * needs must be addressable: blocks that reach over the left or right edge need an expanded plane.
 *
 * `outPixels` says where the edge is, and may have any value:
 *
 * | operation | 1 and more                                 | 0            | negative                        |
 * |-----------|--------------------------------------------|--------------|---------------------------------|
 * | `Top`     | so many of the block's rows, or rows from  | the block's  | so many rows of the picture lie |
 * |           | its first one on, lie above the picture    | first row is | above the block                 |
 * |           |                                            | the first    |                                 |
 * | `Bottom`  | so many of the block's rows, or rows up to | the block's  | so many rows of the picture lie |
 * |           | its last one, lie below the picture        | last row is  | below the block                 |
 * |           |                                            | the last     |                                 |
 *
 * The first row of the picture is thus `pSrc` + `outPixels` rows (`Top`), the last one `pSrc` + height - 1 -
 * `outPixels` rows (`Bottom`). From -2 (`Top`) or -3 (`Bottom`) down, the filters do not reach the edge and
 * the result is that of the plain interpolation.
 *
 * @param pSrc      as for the interpolations above, where the place may lie outside the picture
 * @param srcStep   distance in bytes between rows of the reference; not checked
 * @param pDst      top left predicted sample; the block is written
 * @param dstStep   distance in bytes between rows of the destination; not checked
 * @param dx        fraction to the right: 0..3 quarter samples (luma), 0..7 eighth samples (chroma)
 * @param dy        fraction down, likewise
 * @param outPixels number of rows outside, see above
 * @param roiSize   size of the block, as for the interpolation above that this one is a form of
 * @param pParams   the same for 16-bit samples, and the bit depth
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst`, or the record or a pointer in it, is null
 * @retval StatusBadStep     16-bit only: a step is below the width (luma) or below 8 (chroma)
 * @retval StatusBadArgument `dx` or `dy` is outside its range
 * @retval StatusBadSize     the size is none of those of the interpolation above
 * @{
 */
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
/** @} */

/**
 * @name Expand a plane
 *
 * Repeats the samples at the borders of a plane of 8-bit samples outwards, corners included, so that motion
 * vectors may point up to `expandPels` samples outside (8.4.2.2.1). Only the margin is written.
 *
 * | `fieldMode` | Plane                                     | Rows of the margin that are written        |
 * |-------------|-------------------------------------------|--------------------------------------------|
 * | 0           | the frame                                 | `expandPels` above and below               |
 * | 1           | its top field, rows 0, 2, 4, ...          | of those the even ones: -2, -4, ... and    |
 * |             |                                           | height, height + 2, ...                    |
 * | 2           | its bottom field, rows 1, 3, 5, ...       | of those the odd ones: -1, -3, ... and     |
 * |             |                                           | height + 1, height + 3, ...                |
 *
 * @param pSrcDst    first sample of the frame, whichever the field
 * @param width      width of the frame in samples
 * @param height     height of the frame in rows, both fields together; even
 * @param srcDstStep distance in bytes between rows of the frame; not checked, its magnitude must be at least
 *                   width + 2 * `expandPels`
 * @param expandPels width of the margin on all four sides, which must be addressable; nothing is done if it
 *                   is 0 or negative
 * @param fieldMode  0, 1 or 2
 *
 * @retval StatusOk          done, or `expandPels` is below 1, whatever `fieldMode` is
 * @retval StatusNullPointer `pSrcDst` is null
 * @retval StatusBadSize     `height` is odd or below 2, or `width` is below 1
 * @retval StatusBadArgument `fieldMode` is not 0, 1 or 2
 * @{
 */
KEL_API Status keliExpandPlane_H264_8u_C1R(uint8_t* pSrcDst, int32_t width, int32_t height,
                                           int32_t srcDstStep, int32_t expandPels,
                                           int32_t fieldMode) KEL_NOEXCEPT;
/** @} */

/**
 * @name Average of two predictions
 *
 * (s1 + s2 + 1) >> 1, the default weighted prediction (8.4.2.3.1).
 *
 * @param pSrc1    top left sample of the first prediction
 * @param pSrc2    top left sample of the second prediction
 * @param pDst     top left sample of the result; the block is written
 * @param width    width of the block, 2..16
 * @param height   height of the block, 2..16
 * @param step     distance in bytes between rows of each of the three blocks; not checked
 * @param src1Step distance in bytes between rows of the first prediction; not checked
 * @param src2Step distance in bytes between rows of the second prediction; not checked
 * @param dstStep  distance in bytes between rows of the result; not checked
 * @param pParams  the same for 16-bit samples; steps are not checked
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc1`, `pSrc2` or `pDst`, or the record or a pointer in it, is null
 * @retval StatusBadSize     the width or the height is outside 2..16
 * @{
 */
KEL_API Status keliInterpolateBlock_H264_8u_P2P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                                  uint32_t width, uint32_t height,
                                                  uint32_t step) KEL_NOEXCEPT;
KEL_API Status keliInterpolateBlock_H264_8u_P3P1R(const uint8_t* pSrc1, const uint8_t* pSrc2, uint8_t* pDst,
                                                  uint32_t width, uint32_t height, int32_t src1Step,
                                                  int32_t src2Step, int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliBidir_H264_16u_P2P1R(const BidirParams16u* pParams) KEL_NOEXCEPT;
/** @} */

/**
 * @name Weighted prediction from one reference
 *
 * Explicit weighting in place (8.4.2.3.2), clipped to the range of the samples:
 * ((s * weight + 2^(log2Wd - 1)) >> log2Wd) + offset, and s * weight + offset if log2Wd is 0. The two 8-bit
 * operations do the same.
 *
 * The standard has weights and offsets of -128..127 (a weight of 128 where none is transmitted) and log2Wd of
 * 0..7; here all may have any value, and the result is what it is in unlimited numbers. A negative log2Wd
 * counts as 0.
 *
 * @param pSrcDst    top left sample of the prediction, which the result replaces
 * @param srcDstStep distance between rows, in bytes (8-bit) or in samples (16-bit)
 * @param log2Wd     logWD, the binary logarithm of the weights' denominator
 * @param weight     weight
 * @param offset     offset, added as it is: for more than 8 bits the caller scales the transmitted one by
 *                   2^(bitDepth - 8)
 * @param roiSize    size of the block: width and height 2, 4, 8 or 16 each
 * @param bitDepth   bit depth of the samples
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrcDst` is null
 * @retval StatusBadStep     the step is below the width, both as unsigned numbers
 * @retval StatusBadSize     the height or the width is none of those above
 * @{
 */
KEL_API Status keliUniDirWeightBlock_H264_8u_C1IR(uint8_t* pSrcDst, uint32_t srcDstStep, uint32_t log2Wd,
                                                  int32_t weight, int32_t offset,
                                                  RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliUniDirWeightBlock_H264_8u_C1R(uint8_t* pSrcDst, uint32_t srcDstStep, uint32_t log2Wd,
                                                 int32_t weight, int32_t offset,
                                                 RoiSize roiSize) KEL_NOEXCEPT;
KEL_API Status keliUnidirWeight_H264_16u_IP2P1R(uint16_t* pSrcDst, uint32_t srcDstStep, int32_t log2Wd,
                                                int32_t weight, int32_t offset, RoiSize roiSize,
                                                int32_t bitDepth) KEL_NOEXCEPT;
/** @} */

/**
 * @name Explicit weighted prediction from two references
 *
 * ((s1 * w1 + s2 * w2 + 2^log2Wd) >> (log2Wd + 1)) + ((o1 + o2 + 1) >> 1), clipped to the range of the
 * samples (8.4.2.3.2). Weights, offsets and log2Wd may have any value, as above. The `P2P1R` form for 8 bits
 * has one step for both predictions.
 *
 * @param pSrc1    top left sample of the first prediction
 * @param pSrc2    top left sample of the second prediction
 * @param pDst     top left sample of the result; the block is written
 * @param srcStep  distance in bytes between rows of each prediction
 * @param src1Step distance in bytes between rows of the first prediction
 * @param src2Step distance in bytes between rows of the second prediction
 * @param dstStep  distance in bytes between rows of the result
 * @param log2Wd   logWD, the binary logarithm of the weights' denominator
 * @param w1       weight of the first prediction
 * @param o1       offset of the first prediction, in the range of the samples
 * @param w2       weight of the second prediction
 * @param o2       offset of the second prediction, in the range of the samples
 * @param roiSize  size of the block: width and height 2, 4, 8 or 16 each
 * @param pParams  the blocks, their size and the bit depth for 16-bit samples
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc1`, `pSrc2` or `pDst`, or the record or a pointer in it, is null
 * @retval StatusBadStep     a step is below the width: both as unsigned numbers for 8-bit samples, as signed
 *                           ones for 16-bit samples
 * @retval StatusBadSize     the height or the width is none of those above
 * @{
 */
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
/** @} */

/**
 * @name Implicit weighted prediction from two references
 *
 * (s1 * w1 + s2 * w2 + 32) >> 6, clipped to the range of the samples (8.4.2.3.2 with the weights of 8.4.3,
 * which add up to 64). Weights may have any value.
 *
 * @param pSrc1    top left sample of the first prediction
 * @param pSrc2    top left sample of the second prediction
 * @param pDst     top left sample of the result; the block is written
 * @param srcStep  distance in bytes between rows of each prediction
 * @param src1Step distance in bytes between rows of the first prediction; not checked
 * @param src2Step distance in bytes between rows of the second prediction; not checked
 * @param dstStep  distance in bytes between rows of the result; `P3P1R` does not check it
 * @param w1       weight of the first prediction
 * @param w2       weight of the second prediction
 * @param roiSize  size of the block: width and height 2, 4, 8 or 16 each, but of any size for `P3P1R` with
 *                 8-bit samples, which does nothing if either is below 1
 * @param pParams  the blocks, their size and the bit depth for 16-bit samples
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc1`, `pSrc2` or `pDst`, or the record or a pointer in it, is null
 * @retval StatusBadStep     a step is below the width; not checked by the `P3P1R` form
 * @retval StatusBadSize     the height or the width is none of those above; not checked by the `P3P1R` form
 * @{
 */
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
/** @} */

/**
 * @name General weighted average
 *
 * ((s1 * w1 + s2 * w2 + 2^(shift - 1)) >> shift) + offset, clipped to 0..255, and without the rounding if
 * `shift` is 0. With a shift of logWD + 1 and an offset of (o1 + o2 + 1) >> 1 it is the explicit weighted
 * prediction of 8.4.2.3.2. Weights and offset may have any value, and the result is what it is in unlimited
 * numbers; a negative shift counts as 0.
 *
 * @param pSrc1   top left sample of the first prediction
 * @param pSrcDst top left sample of the second prediction, which the result replaces
 * @param step    distance in bytes between rows of either block
 * @param w1      weight of the first prediction
 * @param w2      weight of the second prediction
 * @param shift   number of bits to shift out
 * @param offset  offset of the result
 * @param roiSize size of the block: width and height 2, 4, 8 or 16 each
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc1` or `pSrcDst` is null
 * @retval StatusBadStep     the step is below the width
 * @retval StatusBadSize     the height or the width is none of those above
 * @{
 */
KEL_API Status keliWeightedAverage_H264_8u_C1IR(const uint8_t* pSrc1, uint8_t* pSrcDst, int32_t step,
                                                int32_t w1, int32_t w2, int32_t shift, int32_t offset,
                                                RoiSize roiSize) KEL_NOEXCEPT;
/** @} */

/**
 * @name Deblocking
 *
 * Filter the edges of one macroblock in one component, in place (8.7.2): all vertical edges, left to right
 * (`VerEdge`), or all horizontal edges, top to bottom (`HorEdge`); `MBAFF` only the left edge, and half of
 * its lines. Each edge sees what the one before it left.
 *
 * A line of samples across an edge, p3 p2 p1 p0 | q0 q1 q2 q3, is filtered if its bS is not 0, |p0 - q0| <
 * alpha, |p1 - p0| < beta and |q1 - q0| < beta (8.7.2.2). A bS of 4 filters as in 8.7.2.4, any other as in
 * 8.7.2.3, with values above 4 like 3. tC is formed in 16 bits, for chroma of 8-bit samples in 8 bits.
 * Samples that the filter does not move are not clipped either.
 *
 * @par Edges
 * The macroblock is 16x16 luma samples, 8x8 chroma samples (4:2:0) or 8 wide and 16 high (4:2:2). The caller
 * derives bS (8.7.2.1), alpha, beta (8.7.2.2, Table 8-16) and tC0 (8.7.2.3, Table 8-17), scaled by
 * 2^(bitDepth - 8), for each edge; it sets the bS of edges that are not to be filtered to 0: those of the
 * picture or of a slice, inner ones of 8x8 transforms. `pBs` has 16 entries, laid out as for luma: entry
 * 4 * e + k is the bS of segment k of luma edge e, top to bottom or left to right, e = 0 being the edge of
 * the macroblock. Chroma takes those of the luma edges in the same place. For line n of edge e (n / 4 and so
 * on rounded down):
 *
 * | operation                     | edges at       | lines | bS entry    | tC0 entry   | bS 4 holds for     |
 * |-------------------------------|----------------|-------|-------------|-------------|--------------------|
 * | luma `VerEdge`, `HorEdge`     | 0, 4, 8, 12    | 16    | 4 e + n / 4 | 4 e + n / 4 | its segment        |
 * | chroma `VerEdge`              | 0, 4           | 8     | 8 e + n / 2 | 4 e + n / 2 | its segment        |
 * | chroma `HorEdge`              | 0, 4           | 8     | 8 e + n / 2 | 4 e + n / 2 | edge 0, see below  |
 * | chroma 4:2:2 `VerEdge`        | 0, 4           | 16    | 8 e + n / 4 | 4 e + n / 4 | its segment        |
 * | chroma 4:2:2 `HorEdge`        | 0, 4, 8, 12    | 8     | 4 e + n / 2 | 4 e + n / 2 | edge e, see below  |
 * | luma `MBAFF`                  | 0              | 8     | n / 2       | n / 2       | its segment        |
 * | chroma `MBAFF`                | 0              | 4     | n           | n           | its segment        |
 *
 * The horizontal edges of chroma look only at the first bS of an edge for the strong filter. If it is 4, all
 * eight columns are filtered with it, whatever the other entries are; if not, a 4 among them counts like 3.
 * In 4:2:0 that holds for the first edge; in the second one every bS of 4 counts like 3.
 *
 * `pThresholds` has 16 entries for luma and for the horizontal edges of 4:2:2 chroma, 8 for other chroma, 4
 * for `MBAFF`. `MBAFF` reads 4 entries of `pBs`.
 *
 * @par Samples read and written
 * The block, and before its first edge 4 luma or 2 chroma samples, columns to the left or rows above; the
 * filter writes at most the 3 luma samples or the chroma sample next to an edge on either side. What lies
 * around an edge whose four bS are 0, or whose alpha or beta is 0, is neither read nor written. Samples of a
 * segment with bS 0 in an edge that has others may be written with the value that they have.
 *
 * @par MBAFF
 * The left edge between macroblock pairs of which one is coded in frame and one in field mode (8.7.1) has
 * eight values of bS and neighbours in two macroblocks with thresholds of their own; it is filtered by
 * several calls, for lines that are `srcDstStep` apart: of every second row with twice the step of the plane.
 * The two operations for 4:2:2 are not provided.
 *
 * @param pSrcDstPlane top left sample of the macroblock in the plane
 * @param srcDstStep   distance in bytes between rows of the plane
 * @param pAlpha       two values of alpha: for the macroblock's edge, e = 0, and for all others
 * @param pBeta        two values of beta, likewise
 * @param alpha        alpha of the left edge, of any magnitude
 * @param beta         beta of the left edge, of any magnitude
 * @param pThresholds  tC0 of the segments, any values, see above
 * @param pBs          bS of the segments, see above
 * @param pParams      the same for other samples: all that the 16-bit operations need; `MBAFF` reads only the
 *                     first alpha and beta
 *
 * @retval StatusOk           done, or nothing to filter
 * @retval StatusNotSupported the two 4:2:2 `MBAFF` operations, which do not look at their argument
 * @retval StatusNullPointer  a pointer, or the record or a pointer in it, is null
 * @retval StatusBadStep      `srcDstStep` is below 1. It is not checked, and may be negative, by
 *                            keliFilterDeblockingChroma_HorEdge_H264_8u_C1IR(), by the `MBAFF` operations for
 *                            8 bits and by keliFilterDeblockingChromaVerEdgeMBAFF_H264_16u_IP1R()
 * @{
 */
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
KEL_API Status keliFilterDeblockingChroma422VerEdge_H264_8u_IP1R(const DeblockingParams* pParams)
    KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChroma422HorEdge_H264_8u_IP1R(const DeblockingParams* pParams)
    KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChroma422VerEdgeMBAFF_H264_8u_IP1R(const DeblockingParams* pParams)
    KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingLumaVerEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingLumaHorEdge_H264_16u_IP1R(const DeblockingParams16u* pParams) KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingLumaVerEdgeMBAFF_H264_16u_IP1R(const DeblockingParams16u* pParams)
    KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChromaVerEdge_H264_16u_IP1R(const DeblockingParams16u* pParams)
    KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChromaHorEdge_H264_16u_IP1R(const DeblockingParams16u* pParams)
    KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChromaVerEdgeMBAFF_H264_16u_IP1R(const DeblockingParams16u* pParams)
    KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChroma422VerEdge_H264_16u_IP1R(const DeblockingParams16u* pParams)
    KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChroma422HorEdge_H264_16u_IP1R(const DeblockingParams16u* pParams)
    KEL_NOEXCEPT;
KEL_API Status keliFilterDeblockingChroma422VerEdgeMBAFF_H264_16u_IP1R(const DeblockingParams16u* pParams)
    KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_H264_INTER_H */
