/**
 * @file
 * Operations on blocks, the same for every standard: copy and average with half-sample prediction,
 * motion-compensated reconstruction, inverse DCT.
 *
 * @par Blocks
 * A block is given by a pointer to its top left element and its row step: the distance in bytes from a row to
 * the next one, for 16-bit residuals too. Steps may be negative and need not be a multiple of anything, and
 * samples need no alignment. Block sizes in names are width x height. Samples have 8 bits, residuals are
 * signed 16-bit numbers.
 *
 * @par Half-sample prediction
 * Full-sample position copies reference samples; a half-sample position interpolates between neighbours
 * (ISO/IEC 13818-2 7.6.4, ITU-T H.263 6.1.2, ISO/IEC 14496-2 7.6.2). Let a be the reference sample at the
 * place of the predicted one, b its right neighbour, c the sample below a, d the sample below b, and r the
 * rounding control. Two families of operations name the position differently, `acc` and `mcType`; only the
 * bits shown count, and all others are ignored.
 *
 * | Half a sample  | `acc` | `mcType` | Prediction                   | Samples read for W x H |
 * |----------------|-------|----------|------------------------------|------------------------|
 * | not at all     | 0     | 0        | a                            | W x H                  |
 * | right          | 1     | 8        | (a + b + 1 - r) >> 1         | (W + 1) x H            |
 * | down           | 2     | 4        | (a + c + 1 - r) >> 1         | W x (H + 1)            |
 * | right and down | 3     | 12       | (a + b + c + d + 2 - r) >> 2 | (W + 1) x (H + 1)      |
 *
 * No sample beyond these is read. The rounding control is 0 or 1, and only its lowest bit counts. MPEG-1,
 * MPEG-2 and baseline H.263 always use 0; H.263 with PLUSPTYPE transmits it as RTYPE, MPEG-4 as
 * vop_rounding_type. The caller splits a motion vector into the position of the reference block, by its whole
 * samples, and the half-sample bits.
 *
 * @par Overlap
 * The block that an operation writes may be the very block that it reads, at the same address and with the
 * same step. Otherwise the two must not overlap, and the rows of a written block must not overlap one
 * another.
 */
#ifndef KELVCPX_BLOCK_H
#define KELVCPX_BLOCK_H

#include <kelvcpx/types.h>

/**
 * @name Copy a block
 *
 * dst = src: a prediction at full-sample position.
 *
 * @param pSrc    top left source sample
 * @param srcStep distance in bytes between rows of the source; not checked
 * @param pDst    top left destination sample; the block is written
 * @param dstStep distance in bytes between rows of the destination; not checked
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliCopy8x8_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                  int32_t dstStep) KEL_NOEXCEPT;
KEL_API Status keliCopy16x16_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst,
                                    int32_t dstStep) KEL_NOEXCEPT;
/** @} */

/**
 * @name Copy a block at a half-sample position
 *
 * dst = prediction, by the table at the top of this file.
 *
 * @param pSrc     reference sample at the place of the top left predicted sample
 * @param srcStep  distance in bytes between rows of the reference; not checked
 * @param pDst     top left destination sample; the block is written
 * @param dstStep  distance in bytes between rows of the destination; not checked
 * @param acc      half-sample position: bit 0 half a sample right, bit 1 half a sample down; others ignored
 * @param rounding rounding control in bit 0; other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliCopy8x4HP_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                    int32_t acc, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliCopy8x8HP_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                    int32_t acc, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliCopy16x8HP_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                     int32_t acc, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliCopy16x16HP_8u_C1R(const uint8_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                      int32_t acc, int32_t rounding) KEL_NOEXCEPT;
/** @} */

/**
 * @name Average two blocks
 *
 * dst = (src + dst + 1) >> 1: combines a second prediction, at full-sample position, with the one already in
 * the destination (ISO/IEC 13818-2 7.6.7).
 *
 * @param pSrc       top left source sample
 * @param srcStep    distance in bytes between rows of the source; not checked
 * @param pSrcDst    top left sample of the other block, which the average replaces
 * @param srcDstStep distance in bytes between its rows; not checked
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pSrcDst` is null
 * @{
 */
KEL_API Status keliAverage8x8_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                      int32_t srcDstStep) KEL_NOEXCEPT;
KEL_API Status keliAverage16x16_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                        int32_t srcDstStep) KEL_NOEXCEPT;
/** @} */

/**
 * @name Average with a block at a half-sample position
 *
 * dst = (prediction + dst + 1) >> 1, with the prediction by the table at the top of this file. The average
 * rounds up whatever the rounding control is (ISO/IEC 13818-2 7.6.7). At full-sample position 8x8 and 16x16
 * do what keliAverage8x8_8u_C1IR() and keliAverage16x16_8u_C1IR() do.
 *
 * @param pSrc       reference sample at the place of the top left predicted sample
 * @param srcStep    distance in bytes between rows of the reference; not checked
 * @param pSrcDst    top left sample of the other prediction, which the average replaces
 * @param srcDstStep distance in bytes between its rows; not checked
 * @param acc        half-sample position: bit 0 half a sample right, bit 1 half a sample down; others ignored
 * @param rounding   rounding control of the prediction in bit 0; other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pSrc` or `pSrcDst` is null
 * @{
 */
KEL_API Status keliInterpolateAverage8x4_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                                 int32_t srcDstStep, int32_t acc,
                                                 int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliInterpolateAverage8x8_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                                 int32_t srcDstStep, int32_t acc,
                                                 int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliInterpolateAverage16x8_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                                  int32_t srcDstStep, int32_t acc,
                                                  int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliInterpolateAverage16x16_8u_C1IR(const uint8_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                                   int32_t srcDstStep, int32_t acc,
                                                   int32_t rounding) KEL_NOEXCEPT;
/** @} */

/**
 * @name Add a residual
 *
 * Adds to an 8x8 block and clips to 0..255 (ISO/IEC 13818-2 7.6.8): keliAdd8x8_16s8u_C1IRS() a residual to
 * the block itself, keliAdd8x8HP_16s8u_C1RS() a residual to the prediction from a reference, by the table at
 * the top of this file, and keliAddC8x8_16s8u_C1IR() one value to all samples. The result is exact for every
 * residual.
 *
 * @param pSrc       top left element of the residual
 * @param srcStep    distance in bytes between rows of the residual; not checked
 * @param value      added to every sample
 * @param pSrcDst    top left sample of the block, which the sum replaces
 * @param srcDstStep distance in bytes between its rows; not checked
 * @param pRef       reference sample at the place of the top left predicted sample
 * @param refStep    distance in bytes between rows of the reference; not checked
 * @param pDst       top left destination sample; the block is written
 * @param dstStep    distance in bytes between rows of the destination; not checked
 * @param acc        half-sample position: bit 0 half a sample right, bit 1 half a sample down; others ignored
 * @param rounding   rounding control of the prediction in bit 0; other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @{
 */
KEL_API Status keliAdd8x8_16s8u_C1IRS(const int16_t* pSrc, int32_t srcStep, uint8_t* pSrcDst,
                                      int32_t srcDstStep) KEL_NOEXCEPT;
KEL_API Status keliAdd8x8HP_16s8u_C1RS(const int16_t* pSrc, int32_t srcStep, const uint8_t* pRef,
                                       int32_t refStep, uint8_t* pDst, int32_t dstStep, int32_t acc,
                                       int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliAddC8x8_16s8u_C1IR(int16_t value, uint8_t* pSrcDst, int32_t srcDstStep) KEL_NOEXCEPT;
/** @} */

/**
 * @name Motion-compensated reconstruction from one reference
 *
 * dst = prediction + residual, clipped to 0..255: prediction by the table at the top of this file and
 * addition of the residual (ISO/IEC 13818-2 7.6.4, 7.6.8) in one pass. The result is exact for every
 * residual. A macroblock without a residual is better served by keliCopy16x16HP_8u_C1R() and its sisters.
 *
 * The `UV` form is for chroma planes with alternating samples, U V U V ...: its block is 8 pairs wide and 8
 * rows high, and so 16 x 8 samples and residuals. The right neighbour of a sample is the next one of its own
 * component, 2 bytes on: half a sample to the right reads 18 bytes of a row. The residuals alternate like the
 * samples.
 *
 * @param pRef     reference sample at the place of the top left predicted sample
 * @param refStep  distance in bytes between rows of the reference; not checked
 * @param pSrc     top left element of the residual
 * @param srcStep  distance in bytes between rows of the residual; not checked
 * @param pDst     top left destination sample; the block is written
 * @param dstStep  distance in bytes between rows of the destination; not checked
 * @param mcType   half-sample position: bit 3 (8) half a sample to the right, bit 2 (4) half a sample down;
 *                 other bits ignored
 * @param rounding rounding control in bit 0; other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pRef`, `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliMC16x16_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                                 uint8_t* pDst, int32_t dstStep, int32_t mcType,
                                 int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC16x8_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                                uint8_t* pDst, int32_t dstStep, int32_t mcType,
                                int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC16x4_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                                uint8_t* pDst, int32_t dstStep, int32_t mcType,
                                int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC8x16_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                                uint8_t* pDst, int32_t dstStep, int32_t mcType,
                                int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC8x8_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                               uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC8x4_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                               uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC4x8_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                               uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC4x4_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                               uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC4x2_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                               uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC2x4_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                               uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC2x2_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                               uint8_t* pDst, int32_t dstStep, int32_t mcType, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC16x8UV_8u_C1(const uint8_t* pRef, int32_t refStep, const int16_t* pSrc, int32_t srcStep,
                                  uint8_t* pDst, int32_t dstStep, int32_t mcType,
                                  int32_t rounding) KEL_NOEXCEPT;
/** @} */

/**
 * @name Motion-compensated reconstruction from two references
 *
 * dst = ((pF + pB + 1) >> 1) + residual, clipped to 0..255, where pF and pB are the predictions from the
 * forward and the backward reference, each at its own half-sample position (ISO/IEC 13818-2 7.6.4, 7.6.7,
 * 7.6.8). The average of the two rounds up whatever the rounding control is. The result is exact for every
 * residual. The `BUV` form is for alternating chroma samples, as above.
 *
 * @param pRefF    sample of the forward reference at the place of the top left predicted sample
 * @param refStepF distance in bytes between rows of the forward reference; not checked
 * @param mcTypeF  half-sample position in the forward reference: bit 3 (8) half a sample to the right,
 *                 bit 2 (4) half a sample down; other bits ignored
 * @param pRefB    sample of the backward reference at the place of the top left predicted sample
 * @param refStepB distance in bytes between rows of the backward reference; not checked
 * @param mcTypeB  half-sample position in the backward reference, like `mcTypeF`
 * @param pSrc     top left element of the residual
 * @param srcStep  distance in bytes between rows of the residual; not checked
 * @param pDst     top left destination sample; the block is written
 * @param dstStep  distance in bytes between rows of the destination; not checked
 * @param rounding rounding control of both predictions in bit 0; other bits ignored
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer `pRefF`, `pRefB`, `pSrc` or `pDst` is null
 * @{
 */
KEL_API Status keliMC16x16B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF,
                                  const uint8_t* pRefB, int32_t refStepB, int32_t mcTypeB,
                                  const int16_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                  int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC16x8B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF,
                                 const uint8_t* pRefB, int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc,
                                 int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                 int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC16x4B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF,
                                 const uint8_t* pRefB, int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc,
                                 int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                 int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC8x16B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF,
                                 const uint8_t* pRefB, int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc,
                                 int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                 int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC8x8B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                                uint8_t* pDst, int32_t dstStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC8x4B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                                uint8_t* pDst, int32_t dstStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC4x8B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                                uint8_t* pDst, int32_t dstStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC4x4B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                                uint8_t* pDst, int32_t dstStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC4x2B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                                uint8_t* pDst, int32_t dstStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC2x4B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                                uint8_t* pDst, int32_t dstStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC2x2B_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF, const uint8_t* pRefB,
                                int32_t refStepB, int32_t mcTypeB, const int16_t* pSrc, int32_t srcStep,
                                uint8_t* pDst, int32_t dstStep, int32_t rounding) KEL_NOEXCEPT;
KEL_API Status keliMC16x8BUV_8u_C1(const uint8_t* pRefF, int32_t refStepF, int32_t mcTypeF,
                                   const uint8_t* pRefB, int32_t refStepB, int32_t mcTypeB,
                                   const int16_t* pSrc, int32_t srcStep, uint8_t* pDst, int32_t dstStep,
                                   int32_t rounding) KEL_NOEXCEPT;
/** @} */

/**
 * @name Inverse DCT of an 8x8 block
 *
 * Transforms dequantised coefficients into residuals, clipped to -256..255 (`16s`), or into samples, clipped
 * to 0..255 (`16s8u`): ISO/IEC 13818-2 7.5 and Annex A.
 *
 * @par Coefficients
 * 64 consecutive values, transposed: the coefficient with horizontal frequency u and vertical frequency v
 * stands at index 8 * u + v. A decoder gets the layout for nothing if it exchanges row and column in its scan
 * table.
 *
 * @par Count
 * The scan position of the block's last coefficient that is not zero. The caller promises with it which
 * coefficients are zero, and they are not even read:
 *
 * | `count`                  | May be other than zero, and is read            | Computation         |
 * |--------------------------|------------------------------------------------|---------------------|
 * | below 0 (`16s`)          | nothing                                        | none: zeros         |
 * | 0, below 0 too (`16s8u`) | the DC coefficient (index 0)                   | one division        |
 * | 1..9                     | the frequencies 0..3 in both directions        | reduced transform   |
 * | 10 and more              | everything                                     | full transform      |
 *
 * The first ten positions of the zigzag scan and of both alternate scans lie within the frequencies 0..3. The
 * reduced transform gives exactly the result of the full one. If `count` breaks its promise, the result is
 * that of the block without the coefficients not read. Any `count` from 10 on suits every block.
 *
 * @par Arithmetic
 * A block of DC alone is the DC coefficient divided by 8, rounded towards zero and clipped. Otherwise the
 * transform is separable, in 32-bit fixed point with cosines of 16 fractional bits: it first goes along the
 * horizontal frequencies, rounds to whole numbers, then along the vertical ones. The result is the same on
 * every machine. For coefficients in -2048..2047, the range of the standard, nothing overflows; beyond it
 * sums wrap modulo 2^32. For random blocks as IEEE Std 1180-1990 prescribes them no element differs by more
 * than 1 from the exact transform, rounded, but the errors have a mean square of 0.12 and a mean of 0.1: less
 * exact than that standard asks (0.02 and 0.0015), so an encoder should reconstruct with this transform too.
 *
 * @par Two blocks
 * The `P2C2R` forms transform two blocks, each with its own count, into one of alternating elements U V U V:
 * 16 elements in each of 8 rows, those of the first block at even places. Motion compensation in its `UV`
 * forms takes a residual of this shape.
 *
 * @param pSrc    64 coefficients; read only
 * @param pSrcU   64 coefficients of the first block; read only
 * @param pSrcV   64 coefficients of the second block; read only
 * @param pDst    top left destination element; 8 rows of 8 elements (`C1R`) or of 16 elements (`P2C2R`) are
 *                written; may overlap the coefficients
 * @param dstStep distance in bytes between rows of the destination, at least 1
 * @param count   scan position of the last non-zero coefficient of the block, see above
 * @param countU  the same for the first block
 * @param countV  the same for the second block
 *
 * @retval StatusOk          done
 * @retval StatusNullPointer a pointer is null
 * @retval StatusBadStep     `dstStep` is below 1
 * @{
 */
KEL_API Status keliDCT8x8Inv_AANTransposed_16s_C1R(const int16_t* pSrc, int16_t* pDst, int32_t dstStep,
                                                   int32_t count) KEL_NOEXCEPT;
KEL_API Status keliDCT8x8Inv_AANTransposed_16s8u_C1R(const int16_t* pSrc, uint8_t* pDst, int32_t dstStep,
                                                     int32_t count) KEL_NOEXCEPT;
KEL_API Status keliDCT8x8Inv_AANTransposed_16s_P2C2R(const int16_t* pSrcU, const int16_t* pSrcV,
                                                     int16_t* pDst, int32_t dstStep, int32_t countU,
                                                     int32_t countV) KEL_NOEXCEPT;
KEL_API Status keliDCT8x8Inv_AANTransposed_16s8u_P2C2R(const int16_t* pSrcU, const int16_t* pSrcV,
                                                       uint8_t* pDst, int32_t dstStep, int32_t countU,
                                                       int32_t countV) KEL_NOEXCEPT;
/** @} */

#endif /* KELVCPX_BLOCK_H */
