/**
 * @file
 * Conversion of picture formats: DV macroblocks into packed 4:2:2 pictures, at full and at reduced size.
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
 * | Form         | Luma blocks                   | Pixels | Chroma of a pair of pixels |
 * |--------------|-------------------------------|--------|---------------------------------------------------|
 * | `411` `5MB`  | side by side                  | 32x8   | even pairs: a sample; odd ones: the mean of it |
 * |              |                               |        | and its right neighbour, where there is one | |
 * `411` `Edge` | two by two, at the right edge | 16x16  | the same; the left half of the chroma block       |
 * |              | of the picture                |        | belongs to the upper rows, the right to the lower
 * | | `420`        | two by two                    | 16x16  | a row serves two rows of the same field: row |
 * |              |                               |        | 2 * (y / 4) + y % 2 of the block serves row y |
 * | `422`        | 0 and 2 side by side; 1 and 3 | 16x8   | a sample each | |              | are not read |
 * |                                                   |
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

#endif /* KELVCPX_CONVERT_H */
