/**
 * @file
 * Conversion of picture formats: DV macroblocks into packed 4:2:2 pictures, at full and at reduced size;
 * pictures of 4:2:2 into turned ones of 4:2:0 or into small ones of RGB; a vertical filter for interlaced
 * pictures.
 */
#ifndef KELVCPX_CONVERT_H
#define KELVCPX_CONVERT_H

#include <kelvcpx/types.h>

/**
 * @name DV macroblocks to packed 4:2:2
 *
 * Writes the decoded blocks of DV macroblocks into a picture of two-channel 4:2:2: four bytes for two pixels,
 * in the order Y, Cb, Y, Cr. 128 is added to each sample, and the sum is clipped to 0..255. Of several
 * samples the mean is taken first, rounded towards zero.
 *
 * @par Macroblocks
 * Six blocks of 64 samples in raster order: four of luma, then Cr, then Cb (IEC 61834-2, SMPTE 314M). The
 * sampling structure says where they lie and what becomes of their chroma:
 *
 * | Form         | Luma blocks          | Pixels | Chroma of a pair of pixels                            |
 * |--------------|----------------------|--------|-------------------------------------------------------|
 * | `411` `5MB`  | side by side         | 32x8   | even pairs a sample, odd ones the mean of it and the  |
 * |              |                      |        | sample right of it, if there is one                   |
 * | `411` `Edge` | two by two           | 16x16  | the same, with the left half of the chroma block for  |
 * |              |                      |        | the upper eight rows and the right one for the lower  |
 * | `420`        | two by two           | 16x16  | row 2 * (y / 4) + y % 2 of the chroma block serves    |
 * |              |                      |        | row y: each serves two rows of its field              |
 * | `422`        | 0, 2 side by side    | 16x8   | a sample each; blocks 1 and 3 are not read            |
 *
 * The `Edge` form is for the macroblocks at the right edge of the picture.
 *
 * @par Reduced size
 * `ZoomOut2` and `ZoomOut4` halve and quarter width and height: the luma of a pixel is the mean of the 2x2 or
 * 4x4 samples that it covers, the chroma of a pair that of the samples that it covers. In `420` `ZoomOut2`
 * two rows share the mean of both fields. `ZoomOut8` takes the first sample of each block alone, as a decoder
 * has it from the DC: with `411` and `422` that is one row of the picture, so there is no step.
 *
 * @param ppSrc   five macroblocks of 6 * 64 samples
 * @param ppDst   for each macroblock its top left pixel in the picture; Width * 2 bytes in each row are
 *                written
 * @param pSrc    a macroblock of 6 * 64 samples
 * @param pDst    its top left pixel in the picture
 * @param dstStep distance in bytes between rows of the picture; not checked
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `411`, `420`: `ppSrc` or `ppDst` is null; `Edge`: `pSrc` or `pDst` is null;
 *                           `422`: an entry of `ppSrc` or `ppDst` is null, and the macroblocks before it are
 *                           converted (the arrays themselves must not be null)
 *
 * @par Null entries elsewhere
 * In `411` `5MB` forms a null entry of `ppSrc` ends the conversion with ::StatusOk, so that a segment with a
 * macroblock at the edge of the picture can be converted by these and the `Edge` form; not so in `ZoomOut8`,
 * which passes over macroblocks whose entry of `ppDst` is null. All other entries must not be null.
 * @{
 */
KEL_API Status keliYCrCb411ToYCbCr422_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                        int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb411ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                                 int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb411ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                                 int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb411ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const int16_t** ppSrc,
                                                                 uint8_t** ppDst) KEL_NOEXCEPT;
KEL_API Status keliYCrCb411ToYCbCr422_EdgeDV_16s8u_P3C2R(const int16_t* pSrc, uint8_t* pDst,
                                                         int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb411ToYCbCr422_ZoomOut2_EdgeDV_16s8u_P3C2R(const int16_t* pSrc, uint8_t* pDst,
                                                                  int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb411ToYCbCr422_ZoomOut4_EdgeDV_16s8u_P3C2R(const int16_t* pSrc, uint8_t* pDst,
                                                                  int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb411ToYCbCr422_ZoomOut8_EdgeDV_16s8u_P3C2R(const int16_t* pSrc, uint8_t* pDst,
                                                                  int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb420ToYCbCr422_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                        int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb420ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                                 int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb420ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                                 int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb420ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                                 int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb422ToYCbCr422_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                        int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb422ToYCbCr422_ZoomOut2_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                                 int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb422ToYCbCr422_ZoomOut4_5MBDV_16s8u_P3C2R(const int16_t** ppSrc, uint8_t** ppDst,
                                                                 int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliYCrCb422ToYCbCr422_ZoomOut8_5MBDV_16s8u_P3C2R(const int16_t** ppSrc,
                                                                 uint8_t** ppDst) KEL_NOEXCEPT;
/** @} */

/**
 * @name 4:2:2 to turned 4:2:0
 *
 * Converts a picture of 4:2:2 into planes of 4:2:0, and turns it. Luma samples stay as they are; a chroma
 * sample is the mean (a + b + 1) >> 1 of two source rows.
 *
 * | `rotation` | Turned by                        | Row r, column c of W x H goes to row, column |
 * |------------|----------------------------------|----------------------------------------------|
 * | 0          | nothing                          | r, c                                         |
 * | 1          | a quarter turn counter-clockwise | W - 1 - c, r                                 |
 * | 2          | a quarter turn clockwise         | c, H - 1 - r                                 |
 * | 3          | half a turn                      | H - 1 - r, W - 1 - c                         |
 * | other      |                                  | nothing is written                           |
 *
 * W and H are the size of the picture without its last column or row where that is odd. Source and
 * destination must not overlap.
 *
 * @param pSrc     `C2P3R`: top left pair of pixels of a packed picture: four bytes for two pixels, in the
 *                 order Cb, Y, Cr, Y; `P3R`: the planes of Cb, Y and Cr
 * @param srcStep  `C2P3R`: distance in bytes between rows of the source; `P3R`: the distances of the planes
 *                 of Cb, Y and Cr; not checked, nor is the array
 * @param roiSize  size of the source in pixels, each side at least 2
 * @param pDst     the planes of Y, Cb and Cr
 * @param dstStep  distances in bytes between rows of the planes of Y, Cb and Cr; not checked, nor is the
 *                 array
 * @param rotation see above
 *
 * @retval StatusOk          done
 * @retval StatusWarnOddSize done; the width or the height is odd, and the last column or row was left out
 * @retval StatusNullPointer `pSrc`, `pDst`, or one of the planes is null
 * @retval StatusBadSize     the width or the height is below 2
 * @{
 */
KEL_API Status keliCbYCr422ToYCbCr420_Rotate_8u_C2P3R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize,
                                                      uint8_t* const* pDst, const int32_t* dstStep,
                                                      int32_t rotation) KEL_NOEXCEPT;
KEL_API Status keliCbYCr422ToYCbCr420_Rotate_8u_P3R(const uint8_t* const* pSrc, const int32_t* srcStep,
                                                    RoiSize roiSize, uint8_t* const* pDst,
                                                    const int32_t* dstStep, int32_t rotation) KEL_NOEXCEPT;
/** @} */

/**
 * @name De-interlacing
 *
 * Softens the comb of an interlaced plane with a vertical filter of three taps:
 *
 *     dst(r) = ((src(r - 1) + src(r + 1)) * side + src(r) * w) >> 8
 *
 * where w is `centreWeight`, at most 256, and side is (256 - w) >> 1. The plane is filtered at once, or in
 * slices from top to bottom, each as soon as it is there. A slice writes the last row of the slice above it,
 * which needed its first row, and leaves its own last row to the slice below.
 *
 * | `layout` | Region           | Rows written, of a region of H rows             | Rows read    |
 * |----------|------------------|-------------------------------------------------|--------------|
 * | 1        | the first slice  | 0 copied, 1..H - 2 filtered                     | 0..H - 1     |
 * | 4        | a middle slice   | -1..H - 2 filtered                              | -2..H - 1    |
 * | 16       | the last slice   | -1..H - 2 filtered, H - 1 copied                | -2..H - 1    |
 * | other    | the whole plane  | 0 copied, 1..H - 2 filtered, H - 1 copied       | 0..H - 1     |
 *
 * @param pSrc         first sample of the region
 * @param srcStep      distance in bytes between rows of the source; not checked
 * @param pDst         destination of the region's first sample; must not overlap the source
 * @param dstStep      distance in bytes between rows of the destination; not checked
 * @param roiSize      size of the region: at least one column and three rows
 * @param centreWeight weight of the row itself, in 256ths; more than 256 counts as 256
 * @param layout       place of the region in the plane
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @retval StatusBadSize     the height is below 3 or the width below 1
 * @{
 */
KEL_API Status keliDeinterlaceFilterTriangle_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                                    int32_t dstStep, RoiSize roiSize, uint32_t centreWeight,
                                                    int32_t layout) KEL_NOEXCEPT;
/** @} */

/**
 * @name 4:2:2 to small turned RGB
 *
 * Makes a small picture of 16-bit RGB of a packed one of 4:2:2 (four bytes for two pixels, in the order Cb,
 * Y, Cr, Y): reduces width and height by 2, 4 or 8, rounded down, converts, and turns.
 *
 * @par Reduction
 * The output has pixels for complete areas of `factor` x `factor` source pixels alone. Two output pixels side
 * by side, from an even column on, have chroma in common: that of both areas. The chroma of the last pixel of
 * an odd width is that of its own area.
 *
 * With `interpolation` 1, luma is the first sample of the area, and chroma the first of the first area. With
 * 2 they are means, made of means of two, (a + b + 1) >> 1:
 *
 * - `factor` 2: of neighbours in each row, then of the two rows;
 * - `factor` 4: of neighbours in each row, twice, but luma first of the first and third and of the second and
 *   fourth sample; then of rows, of neighbours first;
 * - `factor` 8: of rows, of neighbours first; then of columns, of neighbours first.
 *
 * @par Conversion
 * With L = 1192 * (Y - 16), and every component clipped to the range of its bits:
 *
 *     R = (L + 1634 * (Cr - 128)) >> 13
 *     G = (L - 401 * (Cb - 128) - 833 * (Cr - 128)) >> 12, or >> 13 where it has 5 bits
 *     B = (L + 2065 * (Cb - 128)) >> 13
 *
 * @param pSrc          top left pair of pixels
 * @param srcStep       distance in bytes between rows of the source; not checked
 * @param roiSize       size of the source in pixels
 * @param pDst          top left pixel of the destination; must not overlap the source
 * @param dstStep       distance in bytes between rows of the destination, an even number; not checked
 * @param factor        2, 4 or 8
 * @param interpolation 1 first samples, 2 means
 * @param rgb555        0: B | G << 5 | R << 11 with 5, 6 and 5 bits; else B | G << 5 | R << 10 with 5 bits
 *                      each
 * @param rotation      0..3, as for keliCbYCr422ToYCbCr420_Rotate_8u_C2P3R(), after the reduction
 *
 * @retval StatusOk               done
 * @retval StatusWarnOddSize      done; the width or the height of the source is odd
 * @retval StatusNullPointer      `pSrc` or `pDst` is null
 * @retval StatusBadSize          `factor` is greater than the width or the height
 * @retval StatusBadResizeFactor  `factor` is not 2, 4 or 8
 * @retval StatusBadInterpolation `interpolation` is not 1 or 2
 * @retval StatusBadArgument      `rotation` is outside 0..3
 * @{
 */
KEL_API Status keliResizeCCRotate_8u_C2R(const uint8_t* pSrc, int32_t srcStep, RoiSize roiSize,
                                         uint16_t* pDst, int32_t dstStep, int32_t factor,
                                         int32_t interpolation, uint32_t rgb555,
                                         int32_t rotation) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_CONVERT_H */
